// SPDX-License-Identifier: MIT
#include "vmdump/allocation_nodes.hpp"

#include "interface/say_line.hpp"
#include "support/checked_numbers.hpp"
#include "support/digit_words.hpp"
#include "support/file_reading.hpp"
#include "support/listing.hpp"
#include "support/page_buffer.hpp"
#include "vmdump/debugfs_places.hpp"
#include "vmdump/line_fields.hpp"

namespace kt3::vmdump {
namespace {

constexpr std::string_view kSeparator = "=====vm node info=====";

// The exact rules, for texts of any shape. Kept out of the loop over entries.
[[gnu::noinline]] std::int32_t any_process(const std::string& text) {
    return support::checked_int(text, 10);
}

[[gnu::noinline]] std::int64_t any_number(const std::string& text) {
    return support::checked_long_long(text, 16);
}

std::int32_t process_of(const std::string& text) {
    const auto usual = support::usual_decimal(text);
    return usual ? *usual : any_process(text);
}

std::int64_t number_of(const std::string& text) {
    const auto usual = support::usual_hex(text);
    return usual ? *usual : any_number(text);
}

} // namespace

std::string_view next_node(std::string_view& text) {
    const std::size_t start = text.find(kSeparator);
    if (start == text.npos) {
        return text = {};
    }
    const std::size_t end = text.find(kSeparator, start + kSeparator.size());
    const std::string_view node = text.substr(start, end - start);
    text.remove_prefix(start + node.size());
    return node;
}

std::vector<std::string> split_nodes(std::string_view text) {
    std::vector<std::string> nodes;
    for (std::string_view node = next_node(text); !node.empty(); node = next_node(text)) {
        nodes.emplace_back(node);
    }
    return nodes;
}

// =====vm node info=====
// device_pid = 4711
// device_pname = app
// gpu_va = 0x7f0000000000
// size = 0x2000
allcation_Info make_node(std::string_view node, std::string_view handle) {
    allcation_Info made;
    made.device_pname = node_value(node, "device_pname");
    made.device_pid = node_value(node, "device_pid");
    made.gpu_va = node_value(node, "gpu_va");
    made.size = node_value(node, "size");
    made.handle = handle;
    return made;
}

bool walk_allocation_nodes(const char* driver_directory, std::vector<allcation_Info>& list) {
    support::Listing allocations(directory_path(driver_directory, kAllocations).text);
    support::PageBuffer pages;
    while (const char* handle = allocations.next()) {
        const PlacePath path = file_path(driver_directory, kAllocations, handle, "vm_info");
        auto text = pages.read(support::open_for_reading(AT_FDCWD, path.text));
        if (!text) {
            interface::say_line("Fail to read allocation info.. skip and try it again...");
            return false;
        }
        for (std::string_view node = next_node(*text); !node.empty(); node = next_node(*text)) {
            list.push_back(make_node(node, handle));
        }
    }
    return !allocations.failed();
}

void fill_entries(_GFX_VM_ALLOCATION_DATA* entries, const std::vector<allcation_Info>& list) {
    for (const allcation_Info& node : list) {
        entries->pid = process_of(node.device_pid);
        entries->handle = number_of(node.handle);
        entries->size = number_of(node.size);
        entries->gpu_va = number_of(node.gpu_va);
        ++entries;
    }
}

} // namespace kt3::vmdump

// SPDX-License-Identifier: MIT
#include "observe/vm/dump_work.hpp"

#include "observe/vm/check.hpp"
#include "observe/vm/dump_calls.hpp"
#include "support/file_reading.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

// Calls take(block) until the file ends. False, with errno set, when it cannot be opened.
template<typename Take>
bool read_blocks(const std::string& path, Take take) {
    const support::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        return false;
    }
    std::vector<char> block(64 * 1024);
    for (ssize_t got = 0; (got = ::read(file.get(), block.data(), block.size())) > 0;) {
        take(std::string_view(block.data(), static_cast<std::size_t>(got)));
    }
    return true;
}

std::optional<std::string> file_text(const std::string& path) {
    std::string text;
    if (!read_blocks(path, [&](std::string_view block) { text += block; })) {
        return std::nullopt;
    }
    return text;
}

template<std::size_t N>
std::string text_of(const char (&field)[N]) {
    return {field, ::strnlen(field, N)};
}

// ---- one client -----------------------------------------------------------------------------------------------------

template<typename Entry>
std::int32_t position(const Entry* entry, const std::vector<Entry>& entries) {
    return entry == nullptr ? -1 : static_cast<std::int32_t>(entry - entries.data());
}

void take_address(const char (&text)[48], std::int64_t& address, std::int32_t& known) {
    const auto number = leading_number(text_of(text), 16);
    address = number.value_or(0);
    known = number ? 1 : 0;
}

// Only the first of a row of siblings knows the parent.
std::vector<TableEntry> tables_of(const std::vector<vidmm_vm_pt>& entries, const std::vector<vidmm_vm_pt>* above) {
    std::vector<TableEntry> tables(entries.size());
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const vidmm_vm_pt& entry = entries[at];
        TableEntry& table = tables[at];
        take_address(entry.Addr, table.address, table.address_known);
        table.level = entry.PT_Level;
        table.index = entry.PT_index;
        if (entry.pre != nullptr) {
            table.parent = tables[at - 1].parent;
        } else if (above != nullptr) {
            table.parent = position(entry.parent, *above);
        }
        std::memcpy(table.buffer, entry.Buffer, sizeof table.buffer);
    }
    return tables;
}

std::vector<PageEntry> pages_of(const std::vector<vidmm_vm_pte_elt3k>& entries,
                                const std::vector<vidmm_vm_pt>& owners) {
    std::vector<PageEntry> pages(entries.size());
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const vidmm_vm_pte_elt3k& entry = entries[at];
        PageEntry& page = pages[at];
        take_address(entry.Addr, page.address, page.address_known);
        page.level = entry.ST_Level;
        page.index = entry.Index;
        page.owner = entry.pre != nullptr ? pages[at - 1].owner : position(entry.parent, owners);
        page.parent_level = entry.DigitalIndex.parent_level;
        page.parent_index = entry.DigitalIndex.parent_index;
        page.snoop = entry.Snoop;
        page.segment = entry.Segment;
        page.large_page = entry.LargePage;
    }
    return pages;
}

template<typename Entry>
bool exportable(const std::vector<Entry>& entries) {
    return std::all_of(entries.begin(), entries.end(), [](const Entry& entry) {
        return entry.address_known != 0 && entry.address == static_cast<std::int32_t>(entry.address);
    });
}

std::size_t kept_lines(const data_vectors& record) {
    return record.pt_level0.size() + record.pt_level1.size() + record.pt_level2.size() + record.st_level0.size() +
           record.st_level1.size() + record.st_level2.size();
}

class ClientReader {
public:
    explicit ClientReader(const DumpCalls& calls) : calls_(calls) {}

    void read(const std::string& client, bool check, const Sender& sender) {
        std::string info = dump_path("devices", client, "info");
        std::string dump = dump_path("devices", client, "vm_info");
        if (check) {
            stage(sender, "info");
            send_all(check_owner(calls_, client, file_text(info).value_or("")), sender);
            stage(sender, "vm_info");
            send_all(check_page_tables(calls_, client, file_text(dump).value_or("")), sender);
            return;
        }
        data_vectors record;
        if (read_owner(client, info, record, sender) && read_name(client, record, sender)) {
            read_dump(client, dump, record, sender);
        }
    }

private:
    static void stage(const Sender& sender, const char* name) { sender.send(MessageKind::stage, name); }

    static void send_all(const std::vector<DumpFinding>& findings, const Sender& sender) {
        for (const DumpFinding& finding : findings) {
            sender.send(finding);
        }
    }

    // A client that ends between the listing and the reading is not a fault.
    static bool unreadable(const std::string& client, const std::string& path, const Sender& sender) {
        const int error = errno;
        if (error == ENOENT && ::access((std::string(kDumpDirectory) + "/devices/" + client).c_str(), F_OK) != 0) {
            sender.send(kDropped, "");
        } else {
            const char* code = error == EACCES || error == EPERM ? "permission" : "unreadable";
            sender.send({client, path, 0, code, std::strerror(error)});
        }
        return false;
    }

    bool read_owner(const std::string& client, std::string& info, data_vectors& record, const Sender& sender) {
        stage(sender, "info");
        if (!support::Fd(::open(info.c_str(), O_RDONLY | O_CLOEXEC)) ||
            calls_.get_Pid_info(&record, info.data()) != 0) {
            return unreadable(client, info, sender);
        }
        const std::string pid = text_of(record.pid);
        sender.send(kPid, pid);
        const auto number = leading_number(pid, 10);
        if (!number || *number != static_cast<std::int32_t>(*number)) {
            send_all(check_owner(calls_, client, file_text(info).value_or("")), sender);
        }
        return true;
    }

    bool read_name(const std::string& client, data_vectors& record, const Sender& sender) {
        stage(sender, kNameStage);
        if (calls_.get_AppName_info(&record) != 0) {
            sender.send({client, "ps", 0, "unreadable", "ps cannot be started"});
            return false;
        }
        const std::string name = text_of(record.app_name);
        if (name == "0") { // the driver's own; snapshots leave it out
            sender.send(kDropped, "");
            return false;
        }
        sender.send(kName, name);
        return true;
    }

    void read_dump(const std::string& client, std::string& dump, data_vectors& record, const Sender& sender) {
        stage(sender, "vm_info");
        try {
            if (!support::Fd(::open(dump.c_str(), O_RDONLY | O_CLOEXEC)) ||
                calls_.get_pagetable_info(&record, dump.data()) != 0) {
                unreadable(client, dump, sender);
                return;
            }
        } catch (const std::logic_error&) { // a malformed number
            send_all(check_page_tables(calls_, client, file_text(dump).value_or("")), sender);
            return;
        }
        find_dropped(client, dump, record, sender);
        calls_.generate_DigitalIndex(record);
        send_entries(client, dump, record, sender);
    }

    // A whole dump is counted block by block and not kept: it can have hundreds of thousands of lines.
    void find_dropped(const std::string& client, const std::string& dump, const data_vectors& record,
                      const Sender& sender) {
        EntryCounter counter;
        read_blocks(dump, [&](std::string_view block) { counter.take(block); });
        if (counter.finish() > kept_lines(record)) {
            send_all(check_dropped_lines(calls_, client, file_text(dump).value_or("")), sender);
        }
    }

    void send_entries(const std::string& client, const std::string& dump, const data_vectors& record,
                      const Sender& sender) {
        const std::vector<vidmm_vm_pt>* const tables[] = {&record.pt_level0, &record.pt_level1, &record.pt_level2};
        const std::vector<vidmm_vm_pte_elt3k>* const pages[] = {&record.st_level0, &record.st_level1,
                                                                &record.st_level2};
        bool all_exportable = true;
        for (int level = 0; level < kLevels; ++level) {
            const auto made_tables = tables_of(*tables[level], level == 0 ? nullptr : tables[level - 1]);
            const auto made_pages = pages_of(*pages[level], *tables[level]);
            all_exportable = all_exportable && exportable(made_tables) && exportable(made_pages);
            sender.send_all(kTables[level], made_tables);
            sender.send_all(kPages[level], made_pages);
        }
        if (!all_exportable) {
            send_all(check_page_tables(calls_, client, file_text(dump).value_or("")), sender);
        }
        sender.send(kEnd, "");
    }

    const DumpCalls& calls_;
};

void send_nodes(const DumpCalls& calls, const std::string& allocation, const Sender& sender) {
    sender.send(MessageKind::stage, "vm_info");
    const std::string path = dump_path("allocations", allocation, "vm_info");
    const auto text = file_text(path);
    if (!text) {
        const int error = errno;
        if (error != ENOENT ||
            ::access((std::string(kDumpDirectory) + "/allocations/" + allocation).c_str(), F_OK) == 0) {
            sender.send({allocation, path, 0, error == EACCES ? "permission" : "unreadable", std::strerror(error)});
        }
        return;
    }
    std::vector<DumpFinding> findings;
    Packer nodes;
    for (const VmNode& node : read_nodes(calls, allocation, *text, findings)) {
        nodes.add(node.pid).add(node.name).add(node.handle);
        nodes.add(static_cast<std::int64_t>(node.gpu_va)).add(static_cast<std::int64_t>(node.size));
    }
    sender.send(kNodes, nodes.bytes());
    for (const DumpFinding& finding : findings) {
        sender.send(finding);
    }
}

// Only whose client it is. Sends nothing when the client ended meanwhile.
void send_process(const DumpCalls& calls, const std::string& client, const Sender& sender) {
    sender.send(MessageKind::stage, "info");
    const std::string path = dump_path(kClientFolder, client, "info");
    const support::Fd file = support::open_for_reading(AT_FDCWD, path.c_str());
    if (!file) {
        if (errno != ENOENT) {
            sender.send({client, path, 0, errno == EACCES ? "permission" : "unreadable", std::strerror(errno)});
        }
        return;
    }
    char page[4096];
    const std::size_t bytes = support::read_page(file.get(), page, sizeof page);
    const auto pid = read_process(calls, {page, bytes});
    sender.send(kPid, pid ? std::to_string(*pid) : "");
}

// The driver's own contexts are no clients.
bool is_entry(const std::string& folder, const std::string& name) {
    const bool own = folder == kClientFolder && (name == "00000000" || name == "02000000");
    return name != "." && name != ".." && !own;
}

// Nothing when the folder may not be listed; why has been sent then.
std::optional<std::vector<std::string>> list_entries(const std::string& folder, const Sender& sender) {
    const support::Dir listing(::opendir((std::string(kDumpDirectory) + '/' + folder).c_str()));
    if (!listing) {
        sender.send(MessageKind::refused, std::to_string(errno));
        return std::nullopt;
    }
    std::vector<std::string> names;
    std::string joined;
    while (const dirent* entry = ::readdir(listing.get())) {
        if (is_entry(folder, entry->d_name)) {
            names.emplace_back(entry->d_name);
            joined += names.back() + '\0';
        }
    }
    sender.send(MessageKind::names, joined);
    return names;
}

} // namespace

void read_dumps(const Library& library, const DumpJob& job, const Sender& sender) {
    const DumpCalls calls = dump_calls(library);
    const auto names = job.names ? job.names : list_entries(job.folder, sender);
    if (!names) {
        return;
    }
    ClientReader clients(calls);
    bool check = job.check_first;
    for (const std::string& name : *names) {
        sender.send(MessageKind::begin, name);
        if (job.only_process) {
            send_process(calls, name, sender);
        } else if (job.folder == kClientFolder) {
            clients.read(name, std::exchange(check, false), sender);
        } else {
            send_nodes(calls, name, sender);
        }
    }
    sender.send(MessageKind::done, "");
}

} // namespace kt3::observe

// SPDX-License-Identifier: MIT
#include "vmdump/client_walk.hpp"

#include "support/bounded_copy.hpp"
#include "support/listing.hpp"
#include "vmdump/client_owner.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/debugfs_places.hpp"
#include "vmdump/page_table_reading.hpp"

#include <algorithm>

namespace kt3::vmdump {
namespace {

// The driver's own contexts.
constexpr std::string_view kNoClients[] = {"00000000", "02000000"};

bool is_client(std::string_view name) {
    return std::find(std::begin(kNoClients), std::end(kNoClients), name) == std::end(kNoClients);
}

// A failure of one file does not keep the others from being read. ps takes longer than a usual dump, so it runs while
// the dump is read.
bool read_client(const char* driver_directory, const char* name, const DumpBlock& block, data_vectors& record) {
    const bool id_known = read_process_id(file_path(driver_directory, kClients, name, "info").text, record);
    NameQuery query = ask_process_name(record);
    const bool dump_read =
        read_stamped_page_tables(file_path(driver_directory, kClients, name, "vm_info").text, block, record);
    const bool name_known = take_process_name(std::move(query), record);
    return id_known && name_known && dump_read;
}

} // namespace

bool walk_clients(const char* driver_directory, std::vector<data_vectors>& list) {
    support::Listing clients(directory_path(driver_directory, kClients).text);
    const DumpBlock block;
    ReusedRecord client;
    while (const char* name = clients.next()) {
        if (!is_client(name)) {
            continue;
        }
        make_ready(client);
        if (!read_client(driver_directory, name, block, client.record)) {
            return false;
        }
        if (support::bounded_text(client.record.app_name) != "0") {
            hand_over(client, list);
        }
    }
    return !clients.failed();
}

} // namespace kt3::vmdump

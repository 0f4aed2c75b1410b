/*
 * kt3 management interface: the calls and objects that take C++ types. Their argument types are part of the exported
 * symbol; they need the C++11 string layout of the standard library. The conventions of kt3_mgmt_interface.h apply.
 * Pointers must not be null unless the call says what it does then.
 */
#ifndef KT3_MGMT_INTERFACE_CXX_H
#define KT3_MGMT_INTERFACE_CXX_H

#include "kt3_mgmt_interface.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

/* ---- preferences ---------------------------------------------------------------------------------------------- */

/* The entries in file order; empty when the library is loaded, owned by the library. */
extern KT3_EXPORT std::vector<_UTIL_GPU_PREFERENCE_NODE> interface_config_list;

/* Takes the white space off both ends of the text, in place. Does nothing for null. */
KT3_EXPORT void trimWhitespace(char* text);

/*
 * Appends the entries of the file to interface_config_list and returns the number of its sections, or -1 when it
 * cannot be opened. Logs "parseINI %s\n", or "parseINI fail to open %s\n", with the path, then every entry with the tag
 * "Load from config:". Lines longer than 611 characters count as several; ";" starts a comment anywhere; keys are
 * case-sensitive; unknown keys and lines without "=" are ignored; values in front of the first section belong to it.
 */
KT3_EXPORT int32_t parseINI(const char* path);

/*
 * Makes the whole list the content of the file. Logs "savefile_INI: can't open %s \n" with the path when it cannot be
 * opened for writing; else a line of 25 hyphens, every entry with the tag "Save to config:", and an empty line. Other
 * failures are silent and leave the old text.
 */
KT3_EXPORT void savefile_INI(const char* path);

/* Builds UTIL_CONFIG_PATH from HOME and reads that file. Returns 0. */
KT3_EXPORT int32_t util_init_config_files();

/* Logs "%s %s: %s, %s, %04d:%02d:%02d.%d\n": tag, name, FullPath, PreferGpuName, PCI location (decimal). */
KT3_EXPORT void printConfigNodeLog(const char* tag, _UTIL_GPU_PREFERENCE_NODE* entry);

/* The part behind the last "/" or "\", or the whole path when it has neither. */
KT3_EXPORT std::string get_filename(std::string path);

/* ---- allocation ----------------------------------------------------------------------------------------------- */

/*
 * Appends one record per live allocation, in the order of the driver's listing. Returns 0, or -1 when the listing or
 * one of its files could not be read; what was appended until then stays. The plain form tries up to ten times, 5 ms
 * apart, and does not empty the list in between, so a retried snapshot holds some allocations twice.
 */
KT3_EXPORT int get_current_allocation_data(std::vector<_GFX_ALLOCATION_INFO>& records, int chip_id, int is_va_driver);
KT3_EXPORT int get_current_allocation_data_try(std::vector<_GFX_ALLOCATION_INFO>& records, int chip_id,
                                               int is_va_driver);

/*
 * Writes the program name of a process: the first argument of its command line, or, when that has `limit` characters or
 * more, its base name cut to 63 characters. `name` has room for 64 characters and for `limit`, whichever is more.
 * Returns 0, with an empty name when the process is gone, or -1, with the name as it was, when its command line is
 * empty.
 */
KT3_EXPORT int getPackageNameFromPid(int pid, char* name, int limit);

/* True when a.device < b.device: the order of the raw list. */
KT3_EXPORT bool compare_allo_device(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b);

/* True when a.sum_count > b.sum_count: the order of the leak groups. */
KT3_EXPORT bool compare_allo_sum(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b);

/*
 * Brings `tracked` up to the snapshot `current`: survivors first, in their old order, with `seen_count` raised, then
 * the new ones. Two records are the same allocation when handle, width, height, size, hw_format and at_type agree.
 * Records that were matched are removed from `current`.
 */
KT3_EXPORT void compare_memleak_list(std::vector<_GFX_ALLOCATION_INFO>& current,
                                     std::vector<_GFX_ALLOCATION_INFO>& tracked);

/* The allocations that the previous get_memleak_info saw. */
extern KT3_EXPORT std::vector<_GFX_ALLOCATION_INFO> vec_memleak_result;

/* ---- virtual memory: records ---------------------------------------------------------------------------------- */

struct data_vectors;

/*
 * Where the entries of a record lie. The entries link to each other by address; after they have moved, every link
 * that pointed to one of the old places is set to the corresponding new one. Links to anywhere else are left alone.
 */
struct kt3_entry_places {
    template<typename Entry>
    struct Range {
        const Entry* first;
        std::size_t count;
    };
    Range<vidmm_vm_pt> pt[3];
    Range<vidmm_vm_pte_elt3k> st[3];
};
KT3_LAYOUT(sizeof(kt3_entry_places) == 96);
inline kt3_entry_places kt3_places_of(const data_vectors& record);
inline void kt3_relink(data_vectors& record, const kt3_entry_places& old_places);

/*
 * Everything known about one client. Copies and moves keep the links between the entries intact: those of a copy
 * point into the copy.
 */
struct data_vectors {
    char pid[48] = {};                  /* process id text, NUL-terminated */
    char app_name[48] = {};             /* command name of that process; "0" for the process id "0" */
    std::string text;                   /* never filled by the library */
    std::vector<vidmm_vm_pt> pt_level0; /* page-table entries in dump order */
    std::vector<vidmm_vm_pt> pt_level1;
    std::vector<vidmm_vm_pt> pt_level2;
    std::vector<vidmm_vm_pte_elt3k> st_level0; /* sub-table entries in dump order */
    std::vector<vidmm_vm_pte_elt3k> st_level1;
    std::vector<vidmm_vm_pte_elt3k> st_level2;

    data_vectors() = default;
    data_vectors(data_vectors&&) noexcept = default; /* the storage goes over as it is, so every link stays right */
    data_vectors& operator=(data_vectors&&) noexcept = default;
    data_vectors(const data_vectors& other)
        : text(other.text), pt_level0(other.pt_level0), pt_level1(other.pt_level1), pt_level2(other.pt_level2),
          st_level0(other.st_level0), st_level1(other.st_level1), st_level2(other.st_level2) {
        std::memcpy(pid, other.pid, sizeof pid);
        std::memcpy(app_name, other.app_name, sizeof app_name);
        kt3_relink(*this, kt3_places_of(other));
    }
    data_vectors& operator=(const data_vectors& other) {
        data_vectors copy(other);
        return *this = std::move(copy);
    }
    ~data_vectors() = default;
};
KT3_LAYOUT(sizeof(data_vectors) == 272);

inline kt3_entry_places kt3_places_of(const data_vectors& record) {
    return {{{record.pt_level0.data(), record.pt_level0.size()},
             {record.pt_level1.data(), record.pt_level1.size()},
             {record.pt_level2.data(), record.pt_level2.size()}},
            {{record.st_level0.data(), record.st_level0.size()},
             {record.st_level1.data(), record.st_level1.size()},
             {record.st_level2.data(), record.st_level2.size()}}};
}

/* The old places may be gone already, so they are compared as numbers. A null link lies in no range. */
template<typename Entry>
inline void kt3_follow(Entry*& link, const kt3_entry_places::Range<Entry>& from, std::vector<Entry>& to) {
    const std::size_t distance = reinterpret_cast<std::uintptr_t>(link) - reinterpret_cast<std::uintptr_t>(from.first);
    if (distance < from.count * sizeof(Entry)) {
        link = to.data() + distance / sizeof(Entry);
    }
}

inline void kt3_relink(data_vectors& record, const kt3_entry_places& old_places) {
    std::vector<vidmm_vm_pt>* const pt[] = {&record.pt_level0, &record.pt_level1, &record.pt_level2};
    std::vector<vidmm_vm_pte_elt3k>* const st[] = {&record.st_level0, &record.st_level1, &record.st_level2};
    for (std::size_t level = 0; level < 3; ++level) {
        for (vidmm_vm_pt& entry : *pt[level]) {
            kt3_follow(entry.next, old_places.pt[level], *pt[level]);
            kt3_follow(entry.pre, old_places.pt[level], *pt[level]);
            kt3_follow(entry.sub_entries, old_places.st[level], *st[level]);
            if (level < 2) {
                kt3_follow(entry.entries, old_places.pt[level + 1], *pt[level + 1]);
            }
            if (level > 0) {
                kt3_follow(entry.parent, old_places.pt[level - 1], *pt[level - 1]);
            }
        }
        for (vidmm_vm_pte_elt3k& entry : *st[level]) {
            kt3_follow(entry.next, old_places.st[level], *st[level]);
            kt3_follow(entry.pre, old_places.st[level], *st[level]);
            kt3_follow(entry.parent, old_places.pt[level], *pt[level]);
        }
    }
}

/* One virtual-memory node of one allocation; every field is text as the driver wrote it. */
struct allcation_Info {
    std::string device_pid;   /* decimal */
    std::string device_pname; /* process name */
    std::string handle;       /* name of the allocation's directory, hexadecimal */
    std::string gpu_va;       /* hexadecimal */
    std::string size;         /* hexadecimal */
};
KT3_LAYOUT(sizeof(allcation_Info) == 160);

/* ---- virtual memory: calls ------------------------------------------------------------------------------------ */

/* An empty record with room for 100, 1,000 and 20,000 page-table and 100, 20,000 and 300,000 sub-table entries. */
KT3_EXPORT data_vectors create_vector();
/* Empties the six sequences and keeps their room. */
KT3_EXPORT void clean_vector(data_vectors* record);

/*
 * Fill `pid` from a client's info file and `app_name` from ps. 0; -1 when the file cannot be opened (one line on
 * standard output) or ps cannot be started. A file without a "pid" line leaves `pid` alone. A text of more than 47
 * characters ends the process.
 */
KT3_EXPORT int get_Pid_info(data_vectors* record, char* info_path);
KT3_EXPORT int get_AppName_info(data_vectors* record);
/* What follows the first "pid = ", without trailing white space; empty when there is none. */
KT3_EXPORT std::string find_Pid_number(std::string line);

/*
 * Appends one record per client to the list; the list is never emptied. 0, or -1 when a file or directory cannot be
 * opened. The second form makes up to 10 tries, 1 ms apart; what a failed try appended stays in the list.
 */
KT3_EXPORT int get_PageTable_data(std::vector<data_vectors>& list);
KT3_EXPORT int get_PageTable_data_try(std::vector<data_vectors>& list);

/*
 * Single values of one dump line. A missing key gives 0 or an empty text, a line without a colon level -1 and index 0;
 * malformed numbers raise the "stoi" errors.
 */
KT3_EXPORT int32_t find_Level_in_Table(std::string line);
KT3_EXPORT int32_t find_Index_in_Table(std::string line);
KT3_EXPORT std::string find_Addr_in_Table(std::string line, std::string key);
KT3_EXPORT std::string find_Buffer_in_Table(std::string line, std::string key);
KT3_EXPORT int32_t find_value_in_subTable(std::string line, std::string key);
/* The value of the "key = value" line in a text; std::out_of_range when it would start behind the end. */
KT3_EXPORT std::string extractValue(std::string text, std::string key);
/* Sets the flag of the level and clears the two others; a level other than 0 to 2 clears all three. */
KT3_EXPORT void update_PageTable_Flags(int& in_level0, int& in_level1, int& in_level2, int level);

/* Appends the entries of a dump to the record. 0, or -1 when the file cannot be opened. */
KT3_EXPORT int32_t get_pagetable_info(data_vectors* record, char* vm_info_path);
/* Stamp sub-table entries with the level and index of the owner of their run: all of a record, or one run's. */
KT3_EXPORT void generate_DigitalIndex(data_vectors& record);
KT3_EXPORT void append_DigitalIndex(vidmm_vm_pte_elt3k& entry);

/*
 * From one table to the next. The address given to the level 1 and 2 lookups is what the lookup of the level above
 * returned. Empty, or an entry with `found` 0, when there is no match.
 */
KT3_EXPORT std::string Find_SubTable_0_addr(int index, data_vectors* record);
KT3_EXPORT std::string Find_SubTable_1_addr(int index, data_vectors* record, std::string address);
KT3_EXPORT vidmm_vm_pte_elt3k Find_SubTable_2_node(int index, data_vectors* record, std::string address);

/* One line on standard output, for debugging. */
KT3_EXPORT void Print_PageTable(vidmm_vm_pt* entry);
KT3_EXPORT void Print_SubTable(vidmm_vm_pte_elt3k* entry);

/* Takes a snapshot into the two lists, allocation nodes first. 0, or -1 when either failed. */
KT3_EXPORT int32_t get_current_PageTable_data(std::vector<data_vectors>& pagetables,
                                              std::vector<allcation_Info>& allocations);
/* The number of rows of the list. */
KT3_EXPORT uint32_t Calculate_Pagetable_Size(std::vector<data_vectors>& list);
/* Fill rows: of a whole list, or of one sequence from *row on, which is advanced. */
KT3_EXPORT void Fill_Value_to_PagetableData(std::vector<data_vectors>& list, _PAGETABLE_DATA* rows);
KT3_EXPORT void Fill_Value_to_ptTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pt>& entries, int* row, long pid);
KT3_EXPORT void Fill_Value_to_subTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pte_elt3k>& entries, int* row,
                                       long pid);

/*
 * Append every allocation's nodes to the list: one walk, or up to 10 tries, 1 ms apart. What a failed try appended
 * stays in the list. 0 or -1.
 */
KT3_EXPORT int get_alloction_data_try(std::vector<allcation_Info>& list);
KT3_EXPORT int get_alloction_data(std::vector<allcation_Info>& list);
/* Cuts a text into its nodes, each beginning with "=====vm node info=====". */
KT3_EXPORT std::vector<std::string> split_VmNode_Info(std::string text);

/* ---- virtual memory: objects ---------------------------------------------------------------------------------- */

/* The last snapshot, refreshed by get_pagetable_data with null rows; after a failed one what its tries appended. */
extern KT3_EXPORT std::vector<data_vectors> Pagetable_List;
extern KT3_EXPORT std::vector<allcation_Info> Allocation_List;

#endif

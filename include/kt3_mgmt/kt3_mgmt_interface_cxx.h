/* SPDX-License-Identifier: MIT */
/*
 * kt3 management interface: the calls and objects that take C++ types. Their argument types are part of the exported
 * symbol; they need the C++11 string layout of the standard library. The conventions of kt3_mgmt_interface.h apply,
 * except that pointers must not be null unless the call says what it does then. The four lists are owned by the
 * library, empty when it is loaded and destroyed when it is unloaded or the process ends.
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

/* The preferences in file order. */
extern KT3_EXPORT std::vector<_UTIL_GPU_PREFERENCE_NODE> interface_config_list;

/* Removes the white space at both ends of the text, in place. Does nothing for null. */
KT3_EXPORT void trimWhitespace(char* text);

/*
 * Appends the entries of the file to interface_config_list and returns the number of its sections, or -1 when it
 * cannot be opened and read whole; null cannot. Logs "parseINI %s\n", or "parseINI fail to open %s\n", with the path,
 * then every entry with the tag "Load from config:". Lines longer than 611 characters count as several; ";" starts a
 * comment anywhere; keys are case-sensitive; unknown keys and lines without "=" are ignored; values before the first
 * section belong to it.
 */
KT3_EXPORT int32_t parseINI(const char* path);

/*
 * Makes the whole list the content of the file, as set_gpu_preference does. Logs a line of 25 hyphens, every entry
 * with the tag "Save to config:" and an empty line; then, when the text could not be saved whole,
 * "savefile_INI: can't open %s \n" with the path. That line stands alone, and nothing is touched, when the file cannot
 * be opened for writing or is one that is neither read nor written; null cannot be opened.
 */
KT3_EXPORT void savefile_INI(const char* path);

/* Builds UTIL_CONFIG_PATH from HOME (empty when HOME gives no path) and reads that file with parseINI. Returns 0. */
KT3_EXPORT int32_t util_init_config_files();

/*
 * Logs "%s %s: %s, %s, %04d:%02d:%02d.%d\n": tag, name, FullPath, PreferGpuName, PCI location (decimal). Does nothing
 * for null.
 */
KT3_EXPORT void printConfigNodeLog(const char* tag, _UTIL_GPU_PREFERENCE_NODE* entry);

/* The part after the last "/" or "\", or the whole path when it has neither. */
KT3_EXPORT std::string get_filename(std::string path);

/* ---- allocation ----------------------------------------------------------------------------------------------- */

/*
 * Append one record per live allocation of the bound adapter, in the order of the driver's listing; chip_id is not
 * used. Return 0, or -1 when the listing or one of its files cannot be read, with "Error opening directory" or
 * "Fail to read allocation info. skip..." on standard output; what was appended until then stays. The first form walks
 * up to ten times, 5 ms apart and after the last, and does not empty the list in between, so a snapshot that was
 * retried holds some allocations twice. Both raise the errors of convention 6 for a malformed "handle" or "device".
 */
KT3_EXPORT int get_current_allocation_data(std::vector<_GFX_ALLOCATION_INFO>& records, int chip_id, int is_va_driver);
KT3_EXPORT int get_current_allocation_data_try(std::vector<_GFX_ALLOCATION_INFO>& records, int chip_id,
                                               int is_va_driver);

/*
 * Writes the program name of a process, NUL-terminated and at most `limit` bytes long with the terminator. The name is
 * the first argument of its command line when that has less than `limit` characters; else the part of it before the
 * first space and after the last "/", cut to 63 or limit - 1 characters, whichever is less. A line end in it ends the
 * name and belongs to it. Returns 0, with an empty name when the process is gone; or -1, with nothing written, when
 * the command line is empty or cannot be read. Nothing is written for null or for a limit of 0 or less.
 */
KT3_EXPORT int getPackageNameFromPid(int pid, char* name, int limit);

/* True when a.device < b.device: the order of the raw list. */
KT3_EXPORT bool compare_allo_device(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b);

/* True when a.sum_count > b.sum_count: the order of the leak groups. */
KT3_EXPORT bool compare_allo_sum(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b);

/*
 * Brings `tracked` up to the snapshot `current`: allocations found again first, in their old order, with `seen_count`
 * raised, then the new ones. Each tracked one takes the first record left in `current` that agrees with it in handle,
 * width, height, size, hw_format and at_type; the record is removed there. An empty `tracked` becomes a copy of
 * `current`.
 */
KT3_EXPORT void compare_memleak_list(std::vector<_GFX_ALLOCATION_INFO>& current,
                                     std::vector<_GFX_ALLOCATION_INFO>& tracked);

/* The allocations of the last snapshot that get_memleak_info took: those known before first, then the new ones. */
extern KT3_EXPORT std::vector<_GFX_ALLOCATION_INFO> vec_memleak_result;

/* ---- virtual memory: records ---------------------------------------------------------------------------------- */

struct data_vectors;

/*
 * Where the entries of a record lie. The entries link to each other by address; after they have moved, every link that
 * pointed to one of the old places is set to the corresponding new one. Links to anywhere else are left alone.
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
 * Everything known about one device: its owner and its page tables. Copies and moves keep the links between the
 * entries intact: those of a copy point into the copy.
 */
struct data_vectors {
    char pid[48] = {};                  /* process id of the owner as text, NUL-terminated */
    char app_name[48] = {};             /* command name of the owner; "0" for the process id "0" */
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

/* An empty record with capacity for 100, 1,000 and 20,000 page-table and 100, 20,000 and 300,000 sub-table entries. */
KT3_EXPORT data_vectors create_vector();
/* Empties the six sequences and keeps their capacity; text, pid and app_name stay. */
KT3_EXPORT void clean_vector(data_vectors* record);

/*
 * Fill `pid` from the info file of a device and `app_name` from the output of "ps -p <pid> -o comm=". Return 0; or -1
 * when the file cannot be opened or read ("Fail to read pid info. skip..." on standard output) or ps cannot be
 * started. The first line with "pid" counts, and nothing after it is read; without one `pid` is left alone. The
 * process id "0" is its own name; one with a character that means something to a shell has an empty name; for neither
 * ps is run. A text of more than 47 characters ends the process with a line on standard error.
 */
KT3_EXPORT int get_Pid_info(data_vectors* record, char* info_path);
KT3_EXPORT int get_AppName_info(data_vectors* record);
/* What follows the first "pid = ", without trailing white space; empty when there is none. */
KT3_EXPORT std::string find_Pid_number(std::string line);

/*
 * Append one record per device to the list, in the order of the driver's listing; the list is never emptied. Return 0,
 * or -1 when a file or directory cannot be opened or read. The second form walks up to ten times, 1 ms apart and after
 * the last; what a failed walk appended stays in the list. Malformed numbers raise the errors of convention 6.
 */
KT3_EXPORT int get_PageTable_data(std::vector<data_vectors>& list);
KT3_EXPORT int get_PageTable_data_try(std::vector<data_vectors>& list);

/*
 * Single values of one dump line. A missing key gives 0 or an empty text, a line without a colon level -1 and index 0;
 * malformed numbers raise the "stoi" errors. Texts of lines with "Snoop" and all buffer texts lose trailing white
 * space; an address on a line with "entry" alone ends before the next comma after the key.
 */
KT3_EXPORT int32_t find_Level_in_Table(std::string line);
KT3_EXPORT int32_t find_Index_in_Table(std::string line);
KT3_EXPORT std::string find_Addr_in_Table(std::string line, std::string key);
KT3_EXPORT std::string find_Buffer_in_Table(std::string line, std::string key);
KT3_EXPORT int32_t find_value_in_subTable(std::string line, std::string key);
/*
 * The text from two characters after the first "=" that follows the key to the end of that line. A missing key gives
 * an empty text, a missing "=" a start at the second character of the whole text; std::out_of_range, naming
 * basic_string::substr, when the start lies past the end.
 */
KT3_EXPORT std::string extractValue(std::string text, std::string key);
/* Sets the flag of the level and clears the two others; a level other than 0 to 2 clears all three. */
KT3_EXPORT void update_PageTable_Flags(int& in_level0, int& in_level1, int& in_level2, int level);

/*
 * Appends the entries of a dump to the record and links them. Returns 0, or -1 when the file cannot be opened or read.
 * Malformed numbers raise the "stoi" errors; a text of more than 47 characters ends the process.
 */
KT3_EXPORT int32_t get_pagetable_info(data_vectors* record, char* vm_info_path);
/* Fill DigitalIndex with level and index of the page-table entry above a run: in all runs, or in that of one head. */
KT3_EXPORT void generate_DigitalIndex(data_vectors& record);
KT3_EXPORT void append_DigitalIndex(vidmm_vm_pte_elt3k& entry);

/*
 * From one table to the next: the entry with that index in the run below the last level 0 entry, or below the level 1
 * or 2 entry at the address. The address is what the lookup of the level above returned: "0x3f00" names the entry
 * whose Addr is "3f00000". Empty, or an entry with `found` 0, when there is no match.
 */
KT3_EXPORT std::string Find_SubTable_0_addr(int index, data_vectors* record);
KT3_EXPORT std::string Find_SubTable_1_addr(int index, data_vectors* record, std::string address);
KT3_EXPORT vidmm_vm_pte_elt3k Find_SubTable_2_node(int index, data_vectors* record, std::string address);

/* One line on standard output, for debugging; integers are decimal whatever flags std::cout has. */
KT3_EXPORT void Print_PageTable(vidmm_vm_pt* entry);
KT3_EXPORT void Print_SubTable(vidmm_vm_pte_elt3k* entry);

/* Appends a snapshot to the two lists, allocation nodes first; both are always read. 0, or -1 when either failed. */
KT3_EXPORT int32_t get_current_PageTable_data(std::vector<data_vectors>& pagetables,
                                              std::vector<allcation_Info>& allocations);
/* The number of rows of the list, one for each entry of each level; modulo 2^32. */
KT3_EXPORT uint32_t Calculate_Pagetable_Size(std::vector<data_vectors>& list);
/*
 * Fill rows as get_pagetable_data does: of a whole list, or of one sequence from *row on, which is advanced. A
 * malformed process id or address raises the "stoi" errors after the rows before it.
 */
KT3_EXPORT void Fill_Value_to_PagetableData(std::vector<data_vectors>& list, _PAGETABLE_DATA* rows);
KT3_EXPORT void Fill_Value_to_ptTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pt>& entries, int* row, long pid);
KT3_EXPORT void Fill_Value_to_subTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pte_elt3k>& entries, int* row,
                                       long pid);

/*
 * Append the nodes of every allocation below /sys/kernel/debug/dri/0/qn to the list: one walk, or up to ten, 1 ms
 * apart and after the last. Return 0, or -1 when the directory or a file cannot be opened or read; for a file
 * "Fail to read allocation info.. skip and try it again..." goes to standard output. What a failed walk appended stays
 * in the list.
 */
KT3_EXPORT int get_alloction_data_try(std::vector<allcation_Info>& list);
KT3_EXPORT int get_alloction_data(std::vector<allcation_Info>& list);
/* Cuts a text into its nodes, each beginning with "=====vm node info====="; text before the first is left out. */
KT3_EXPORT std::vector<std::string> split_VmNode_Info(std::string text);

/* ---- virtual memory: objects ---------------------------------------------------------------------------------- */

/* The last snapshot, taken by get_pagetable_data with null rows; after a failed one, what its walks appended. */
extern KT3_EXPORT std::vector<data_vectors> Pagetable_List;
extern KT3_EXPORT std::vector<allcation_Info> Allocation_List;

#endif

/*
 * kt3 management interface: the calls and objects that take C++ types. Their argument types are part of the exported
 * symbol; they need the C++11 string layout of the standard library. The conventions of kt3_mgmt_interface.h apply.
 */
#ifndef KT3_MGMT_INTERFACE_CXX_H
#define KT3_MGMT_INTERFACE_CXX_H

#include "kt3_mgmt_interface.h"

#include <string>
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
 * Writes the program name of a process, cut to limit - 1 characters: the first argument of its command line, reduced
 * to its base name when it does not fit. Returns 0, with an empty name when the process is gone, or -1, with the name
 * as it was, when its command line is empty.
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

#endif

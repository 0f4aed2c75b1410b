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

#endif

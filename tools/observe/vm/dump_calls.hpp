// SPDX-License-Identifier: MIT
#pragma once
// The library's readers of page-table dumps. They take C++ types, so their symbols carry encoded argument types.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "observe/library/library.hpp"

namespace kt3::observe {

#define KT3_DUMP_CALLS(row)                                                                                            \
    row(get_Pid_info, "_Z12get_Pid_infoP12data_vectorsPc");                                                            \
    row(get_AppName_info, "_Z16get_AppName_infoP12data_vectors");                                                      \
    row(get_pagetable_info, "_Z18get_pagetable_infoP12data_vectorsPc");                                                \
    row(generate_DigitalIndex, "_Z21generate_DigitalIndexR12data_vectors");                                            \
    row(find_Pid_number, "_Z15find_Pid_number" KT3_STRING "E");                                                        \
    row(find_Level_in_Table, "_Z19find_Level_in_Table" KT3_STRING "E");                                                \
    row(find_Index_in_Table, "_Z19find_Index_in_Table" KT3_STRING "E");                                                \
    row(find_Addr_in_Table, "_Z18find_Addr_in_Table" KT3_STRING "ES4_");                                               \
    row(find_Buffer_in_Table, "_Z20find_Buffer_in_Table" KT3_STRING "ES4_");                                           \
    row(find_value_in_subTable, "_Z22find_value_in_subTable" KT3_STRING "ES4_");                                       \
    row(extractValue, "_Z12extractValue" KT3_STRING "ES4_");                                                           \
    row(split_VmNode_Info, "_Z17split_VmNode_Info" KT3_STRING "E")

#define KT3_STRING "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE"

struct DumpCalls {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member is not an expression
#define KT3_MEMBER(name, symbol) decltype(&::name) name = nullptr
    KT3_DUMP_CALLS(KT3_MEMBER);
#undef KT3_MEMBER
};

// Throws Failure, with the symbol's name, when the library lacks one.
[[nodiscard]] DumpCalls dump_calls(const Library& library);

} // namespace kt3::observe

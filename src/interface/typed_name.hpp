// SPDX-License-Identifier: MIT
#pragma once
// Clients that declared a C routine as C++ link it by a name that encodes its argument types. The encoded name becomes
// another name of the same body; this stands after that body, in the same file.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#define KT3_TYPED_NAME(routine, encoded)                                                                               \
    extern "C" KT3_EXPORT decltype(routine) routine##_typed __asm__(encoded) __attribute__((alias(#routine)))

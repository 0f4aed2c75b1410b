// SPDX-License-Identifier: MIT
#include "observe/vm/dump_calls.hpp"

namespace kt3::observe {

DumpCalls dump_calls(const Library& library) {
    DumpCalls calls;
#define KT3_RESOLVE(name, symbol) calls.name = reinterpret_cast<decltype(&::name)>(required_symbol(library, symbol))
    KT3_DUMP_CALLS(KT3_RESOLVE);
#undef KT3_RESOLVE
    return calls;
}

} // namespace kt3::observe

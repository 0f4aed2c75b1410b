/*
 * kt3 management interface: the calls and objects that take C++ types. Their argument types are part of the exported
 * symbol; they need the C++11 string layout of the standard library. The conventions of kt3_mgmt_interface.h apply.
 */
#ifndef KT3_MGMT_INTERFACE_CXX_H
#define KT3_MGMT_INTERFACE_CXX_H

#include "kt3_mgmt_interface.h"

#include <string>
#include <vector>

#endif

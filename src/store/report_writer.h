#pragma once

#include <cstdint>
#include <cstdio>

#include "store/inv_map.h"
#include "store/wide_string.h"

namespace orrery {

/// Writes every entry of a map as one line of the report, in key order: section, index, property
/// and value between tabs, ended by a line feed, as UTF-16LE units without a byte-order mark.
///
/// Values are written raw. A line is cut at 1023 units and then has no line feed. A key without an
/// index, or with a negative one, is passed over with a word to the debugger.
/// @param collector  not used
/// @param file       open binary stream; write errors are not examined
/// @param reportText receives a copy of every line
void WriteReport(CHardwareCollector* collector, const CInvMap* map, std::FILE* file,
                 WideString* reportText);

/// Takes a key apart into the columns of the report.
/// @param section, property preset empty; set only as far as the key has them
/// @param index             preset to -1; the number after the last "\"
/// @return position of the last "\" in the key, or -1 when it has none
std::int32_t SplitKey(CHardwareCollector* collector, const WideString& key, WideString* section,
                      WideString* property, std::int32_t* index);

}  // namespace orrery

#pragma once

#include <string_view>

#include "store/wide_string.h"

namespace orrery {

class CHardwareCollector;

/// Takes one property's value out of an instance's text and turns it into the report's form.
///
/// A value ends at its first ";", also inside a string. Every leading quote and opening brace and
/// every trailing quote and closing brace is dropped; escapes are left as they stand. Sizes come
/// out in whole mebibytes ("Size", "FreeSpace" and "Capacity", low 32 bits), "ChassisTypes",
/// "CurrentUsage" and "MemoryType" as names.
/// @param collector  not used
/// @param objectText what IWbemClassObject::GetObjectText gives: a line for each property that is not
///                   null, made of a tab, the name, " = ", the value and ";"
/// @return the value; empty when the text has no such line
WideString GetPropertyFromText(CHardwareCollector* collector, std::wstring_view propertyName,
                               std::wstring_view objectText);

}  // namespace orrery

#pragma once

#include <string>
#include <string_view>

#include "wmi/session.h"

namespace orrery {

/// A query in WQL as a collector puts it: in a session of its own, which OpenSession opens, and read
/// to its end.
struct WqlQuery {
    const wchar_t* wmiNamespace;
    RefusedBlanket refused;
    const wchar_t* className;  ///< of the instances in the answer
    const wchar_t* text;       ///< the first "%" stands for the name of what the query is about
};

inline WmiResult<IWbemServices> OpenSession(const WqlQuery& query)
{
    return OpenSession(query.wmiNamespace, query.refused);
}

/// The text of a query about one object.
/// @param text with a "%" where its name belongs
inline std::wstring TextAbout(std::wstring text, std::wstring_view name)
{
    return text.replace(text.find(L'%'), 1, name);
}

}  // namespace orrery

#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/doctor/findings.h"
#include "wmi/session.h"

// What the library asks of WMI, in one list for the commands that ask the same, with what of the
// report each answer feeds. The names are the library's own.

namespace orrery::machine {

/// A session that the library opens.
struct WmiNamespace {
    const wchar_t* path;  ///< spelled as the library spells it
    /// How OpenSession opens it; nothing for OpenDefaultSession, which classes are enumerated with.
    std::optional<RefusedBlanket> refused;
    const char* use;  ///< as NamespaceFinding::use
};

/// The namespaces, in an order to which WmiQuestion::wmiNamespace counts.
const std::vector<WmiNamespace>& WmiNamespaces();

/// Opens a namespace as the library does.
WmiResult<IWbemServices> OpenNamespace(const WmiNamespace& wanted);

// What a question is about, besides the number of another question, whose objects are meant.
constexpr std::size_t kNothing = static_cast<std::size_t>(-1);
constexpr std::size_t kVolumes =
    static_cast<std::size_t>(-2);  ///< C to Z as CLocalDrive lists them

struct WmiQuestion {
    std::size_t wmiNamespace;
    const wchar_t* className;  ///< of the instances in the answer
    doctor::Asking asking;
    /// The query, in which "%" stands for the name of what it is about; the name of the method;
    /// null for a class.
    const wchar_t* text = nullptr;
    std::size_t about = kNothing;
    const wchar_t* identity = nullptr;  ///< the property that names what it is about
    std::uint32_t maxInstances = 0;     ///< of a class
    bool mayBeEmpty = false;            ///< there are sound machines without any instance
    std::vector<doctor::Feed> feeds{};
};

/// Every WMI question, in an order in which what others are about comes first.
const std::vector<WmiQuestion>& WmiQuestions();

/// The text of the query, or the path of the method's object.
/// @param name of what the question is about; empty for one that is about nothing
/// @return nothing where the library does not ask about that object
std::optional<std::wstring> QuestionText(const WmiQuestion& question, const std::wstring& name);

/// The volumes that questions are put about.
std::vector<std::wstring> ListedVolumes();

}  // namespace orrery::machine

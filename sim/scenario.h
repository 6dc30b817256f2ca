#pragma once

#include <windows.h>
#include <wbemcli.h>

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/com.h"

namespace orrery::sim {

// Results of WMI, which the SDK declares as an unsigned enumeration.
constexpr HRESULT kWmiNotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);
constexpr HRESULT kWmiFailed = static_cast<HRESULT>(WBEM_E_FAILED);
constexpr HRESULT kWmiInvalidParameter = static_cast<HRESULT>(WBEM_E_INVALID_PARAMETER);
constexpr HRESULT kWmiInvalidClass = static_cast<HRESULT>(WBEM_E_INVALID_CLASS);
constexpr HRESULT kWmiInvalidQueryType = static_cast<HRESULT>(WBEM_E_INVALID_QUERY_TYPE);
constexpr HRESULT kWmiInvalidQuery = static_cast<HRESULT>(WBEM_E_INVALID_QUERY);
constexpr HRESULT kWmiInvalidMethodParameters =
    static_cast<HRESULT>(WBEM_E_INVALID_METHOD_PARAMETERS);
constexpr HRESULT kWmiInvalidNamespace = static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE);

/// One property of an instance, as its scenario line states it.
struct Property {
    int number = 0;             ///< of its line
    std::string_view typeWord;  ///< before the name; empty when the spelling gives the type
    std::wstring name;
    std::wstring line;  ///< its line in the object text; empty when the text leaves it out
    std::wstring text;  ///< the value as a query compares it, without quotes and escapes
    std::shared_ptr<const UniqueVariant> value;
};

/// One object that an enumerator delivers.
struct Instance {
    std::wstring className;
    std::vector<Property> properties;
    bool hasText = true;
    bool isEmptySlot = false;            ///< delivered as a null pointer
    std::chrono::milliseconds delay{0};  ///< from the start of the enumeration

    /// Compares without regard to case; null when the property is not listed.
    const Property* Find(std::wstring_view name) const;
    /// The textual form in which WMI gives an instance.
    std::wstring Text() const;
};

/// What Windows itself, and not WMI, tells: one volume, one registry key.
struct NativeItem {
    std::string_view kind;  ///< of the form's words
    std::wstring name;
    int number = 0;  ///< of its line
    std::vector<Property> properties;
};

using Row = std::shared_ptr<const Instance>;
using Rows = std::vector<Row>;

struct Method {
    std::wstring name;
    std::wstring objectPath;
    bool takesInput = false;
    Row output;  ///< null: running the method fails
};

struct Namespace {
    std::map<std::wstring, Rows> classes;  ///< by name in lower case
    std::map<std::wstring, Rows> queries;  ///< by exact text
    std::vector<Method> methods;

    /// The instances of a class; null when there is no such class.
    const Rows* FindClass(std::wstring_view name) const;
    /// Answers a query: one stated word for word, else SELECT columns FROM class, optionally with
    /// WHERE property = 'text'. Columns that were not selected are not in the rows.
    /// @return S_OK; kWmiInvalidClass; kWmiInvalidQuery when the text is none of these
    HRESULT Query(std::wstring_view query, Rows* rows) const;
};

struct ScenarioContent {
    std::map<std::wstring, Namespace> namespaces;
    std::vector<NativeItem> nativeItems;
    bool hasWmi = true;
};

/// What a simulated machine answers, read from a text. docs/machines.md tells its form.
class Scenario {
public:
    /// @throw ScenarioError naming the line and what was expected there
    explicit Scenario(std::wstring_view text);

    /// Compares without regard to case and to a leading "\\.\"; null when there is none.
    const Namespace* Find(std::wstring_view name) const;
    bool hasWmi() const noexcept { return content_.hasWmi; }
    const std::vector<NativeItem>& nativeItems() const noexcept { return content_.nativeItems; }

private:
    ScenarioContent content_;
};

/// Tells that a scenario cannot be used.
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Whether a text is this word of the form.
bool Equals(std::wstring_view text, std::string_view word);

/// Refuses a line of a scenario.
/// @throw ScenarioError always
[[noreturn]] void FailLine(int number, const std::string& expected);

/// Reads a scenario, or another text, from a UTF-8 file.
/// @throw ScenarioError when the file cannot be read
std::wstring LoadScenario(const wchar_t* path);

}  // namespace orrery::sim

#pragma once

#include <windows.h>
#include <wbemcli.h>

#include <chrono>
#include <map>
#include <memory>
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

/// What a simulated machine answers, read from a text of these lines:
///
///     # comment
///     namespace root\cimv2                 what follows is in this namespace
///     class Win32_TapeDrive                a class, needed when it has no instances
///     instance of Win32_BaseBoard          an instance of its class, in the order of enumeration
///     {
///         Manufacturer = "Acme \"Two\"";   VT_BSTR; also TRUE, 12 (VT_I4), {"a", "b"}, {1, 2}
///         Depth = NULL;                    VT_NULL; EMPTY gives VT_EMPTY; neither is in the text
///         __PATH = "\\\\HOST\\root";       a system property is not in the text either
///     };
///     unreadable instance of X             an instance whose GetObjectText fails
///     empty slot of X                      a null pointer in place of an instance; has no body
///     after 1500 ms                        the next instance comes so late in its enumeration
///     query ASSOCIATORS OF {...}           the instances up to the next directive answer this
///     method Lock of \\HOST\root:X.Id="1"  the next instance holds the out-parameters
///     method Lock of \\HOST... takes input the same, for a method with an in-signature
class Scenario {
public:
    /// @throw std::runtime_error naming the line and what was expected there
    explicit Scenario(std::wstring_view text);

    /// Compares without regard to case and to a leading "\\.\"; null when there is none.
    const Namespace* Find(std::wstring_view name) const;

private:
    std::map<std::wstring, Namespace> namespaces_;
};

/// Reads a scenario, or another text, from a UTF-8 file.
/// @throw std::runtime_error when the file cannot be read
std::wstring LoadScenario(const wchar_t* path);

}  // namespace orrery::sim

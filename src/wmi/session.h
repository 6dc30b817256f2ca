#pragma once

#include <windows.h>
#include <wbemcli.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/wide_string.h"
#include "support/com.h"

namespace orrery {

// Who asks for an object gets a WmiResult; who reads a value, nothing where there is none.

/// An object that was asked for, null when there is none, and what the asking ended with.
template <class Interface>
struct WmiResult : ComPtr<Interface> {
    HRESULT result = E_FAIL;  ///< of the last call that was made
};

/// Where classes are enumerated.
constexpr const wchar_t* kDefaultNamespace = L"root\\cimv2";

/// Connects to kDefaultNamespace with whatever server class the locator is registered for, at connect
/// level. A refused security blanket is ignored: the session then works with default security.
/// @return the session; null when there is no locator or no connection
WmiResult<IWbemServices> OpenDefaultSession();

/// What a refused security blanket means for a session that is being opened.
enum class RefusedBlanket { kKeepsSession, kEndsSession };

/// Connects to a namespace through an in-process locator of its own, at call level.
/// @param wmiNamespace such as "ROOT\CIMV2" or "\\.\ROOT\microsoft\windows\storage"
/// @return the session; null when there is no locator, no connection, or a blanket was refused that
///         the caller does not do without
WmiResult<IWbemServices> OpenSession(const wchar_t* wmiNamespace, RefusedBlanket refused);

/// The rows of a WQL query, fetched one at a time as the provider delivers them.
class QueryRows {
public:
    /// @param rows null is allowed: a query that failed has no rows
    explicit QueryRows(WmiResult<IEnumWbemClassObject> rows) noexcept : rows_(std::move(rows)) {}

    /// False when the query itself failed, as opposed to a query without rows.
    bool succeeded() const noexcept { return static_cast<bool>(rows_); }
    /// What the query, or the last fetch from it, ended with.
    HRESULT result() const noexcept { return rows_.result; }

    /// Waits for the next row, without a time limit.
    /// @return null after the last row, and when fetching fails
    ComPtr<IWbemClassObject> Next();

private:
    WmiResult<IEnumWbemClassObject> rows_;
};

/// Starts a WQL query, forward-only and returning at once, with packet privacy on its enumerator.
/// @return null when the query failed
WmiResult<IEnumWbemClassObject> StartQuery(IWbemServices* services, std::wstring_view wql);

/// Starts a WQL query whose rows are all wanted, see StartQuery.
QueryRows Query(IWbemServices* services, std::wstring_view wql);

/// Starts the enumeration of a class, without its subclasses.
/// @return null when it failed
WmiResult<IEnumWbemClassObject> StartEnumeration(IWbemServices* services,
                                                 std::wstring_view className);

/// How long FirstBatch waits.
constexpr long kBatchMilliseconds = 1000;

/// What one fetch from an enumeration brings.
struct Fetched {
    HRESULT result = E_FAIL;
    std::vector<ComPtr<IWbemClassObject>>
        slots;  ///< in order; one that the provider left empty is null
};

/// Fetches instances of a class.
/// @param milliseconds how long to wait, or WBEM_INFINITE
/// @param wanted       upper bound, 1 to 1024
Fetched FetchInstances(IEnumWbemClassObject* instances, long milliseconds, std::uint32_t wanted);

/// Enumerates a class, without its subclasses, and takes what arrives in one batch.
/// @param maxInstances upper bound, 1 to 1024
/// @return the instances delivered within 1000 milliseconds; empty slots are left out
std::vector<ComPtr<IWbemClassObject>> FirstBatch(IWbemServices* services,
                                                 std::wstring_view className,
                                                 std::uint32_t maxInstances);

/// The textual form of an instance, one line for each property that is not null.
/// @return nothing when the provider cannot give it
std::optional<WideString> ObjectText(IWbemClassObject* object);

/// Makes the input parameters of a method, without values.
/// @return null, without a failure, also when the method takes none
WmiResult<IWbemClassObject> MakeMethodInput(IWbemServices* services, const wchar_t* className,
                                            const wchar_t* methodName);

/// Runs a method.
/// @param object its path, as "__PATH" tells it
/// @return the parameters that the method gives; null when the call failed
WmiResult<IWbemClassObject> RunMethod(IWbemServices* services, const wchar_t* methodName,
                                      std::wstring_view object, IWbemClassObject* input);

/// Whether a property can be read and is neither empty nor null.
bool HasProperty(IWbemClassObject* object, const wchar_t* name);

/// Reads a property whose value is a string (VT_BSTR).
/// @return the string as it stands; nothing when the read fails or the value is of another type
std::optional<WideString> ReadTextProperty(IWbemClassObject* object, const wchar_t* name);

/// Reads a property whose value is a string or null.
/// @return the string, empty for null; nothing when the read fails or the value is of another type
std::optional<WideString> ReadNullableTextProperty(IWbemClassObject* object, const wchar_t* name);

/// The number that a value holds or spells: WMI gives integers of up to 32 bits as VT_I4, VT_I2 or
/// VT_UI1, wider ones as VT_BSTR; a true VT_BOOL is -1.
/// @return nothing for an empty or null value and for one that is no number of 32 bits
std::optional<std::int32_t> IntegerOf(const UniqueVariant& value) noexcept;

/// Reads a property whose value is an integer, see IntegerOf.
/// @return nothing when the read fails or there is no number
std::optional<std::int32_t> ReadIntegerProperty(IWbemClassObject* object, const wchar_t* name);

}  // namespace orrery

#include "wmi/session.h"

#include <algorithm>
#include <array>

namespace orrery {
namespace {

WmiResult<IWbemServices> Connect(DWORD serverContext, const wchar_t* wmiNamespace)
{
    WmiResult<IWbemServices> services;
    ComPtr<IWbemLocator> locator;
    services.result = CoCreateInstance(CLSID_WbemLocator, nullptr, serverContext, IID_IWbemLocator,
                                       locator.putVoid());
    if (FAILED(services.result) || !locator)
        return services;
    const UniqueBstr name = MakeBstr(wmiNamespace);
    services.result = locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr,
                                             nullptr, services.put());
    if (FAILED(services.result))
        services.reset();
    return services;
}

}  // namespace

WmiResult<IWbemServices> OpenDefaultSession()
{
    auto services = Connect(CLSCTX_ALL, kDefaultNamespace);
    if (!services || services.result != S_OK)
        return services;
    ComPtr<IClientSecurity> security;
    if (SUCCEEDED(services->QueryInterface(IID_IClientSecurity, security.putVoid())))
        static_cast<void>(security->SetBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                               nullptr, RPC_C_AUTHN_LEVEL_CONNECT,
                                               RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
    return services;
}

WmiResult<IWbemServices> OpenSession(const wchar_t* wmiNamespace, RefusedBlanket refused)
{
    auto services = Connect(CLSCTX_INPROC_SERVER, wmiNamespace);
    if (!services)
        return services;
    services.result =
        CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                          RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    if (FAILED(services.result) && refused == RefusedBlanket::kEndsSession)
        services.reset();
    return services;
}

ComPtr<IWbemClassObject> QueryRows::Next()
{
    constexpr auto kNoTimeLimit = static_cast<long>(WBEM_INFINITE);
    ComPtr<IWbemClassObject> row;
    ULONG returned = 0;
    if (!rows_)
        return {};
    rows_.result = rows_->Next(kNoTimeLimit, 1, row.put(), &returned);
    if (FAILED(rows_.result) || returned == 0)
        return {};
    return row;
}

WmiResult<IEnumWbemClassObject> StartQuery(IWbemServices* services, std::wstring_view wql)
{
    const UniqueBstr language = MakeBstr(L"WQL");
    const UniqueBstr text = MakeBstr(wql);
    WmiResult<IEnumWbemClassObject> rows;
    rows.result = services->ExecQuery(language.get(), text.get(),
                                      WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                      nullptr, rows.put());
    if (FAILED(rows.result))
        rows.reset();
    if (!rows)
        return rows;
    // The rows are worth having under default security too, so a refusal is no reason to stop.
    static_cast<void>(CoSetProxyBlanket(rows.get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT,
                                        COLE_DEFAULT_PRINCIPAL, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
    return rows;
}

QueryRows Query(IWbemServices* services, std::wstring_view wql)
{
    return QueryRows{StartQuery(services, wql)};
}

WmiResult<IEnumWbemClassObject> StartEnumeration(IWbemServices* services,
                                                 std::wstring_view className)
{
    const UniqueBstr name = MakeBstr(className);
    WmiResult<IEnumWbemClassObject> instances;
    instances.result =
        services->CreateInstanceEnum(name.get(), WBEM_FLAG_SHALLOW, nullptr, instances.put());
    if (FAILED(instances.result))
        instances.reset();
    return instances;
}

Fetched FetchInstances(IEnumWbemClassObject* instances, long milliseconds, std::uint32_t wanted)
{
    std::array<IWbemClassObject*, 1024> places{};

    const auto most = std::min<ULONG>(wanted, static_cast<ULONG>(places.size()));
    Fetched fetched;
    fetched.slots.reserve(most);  // before there is anything that a shortage of memory could leak
    ULONG returned = 0;
    fetched.result = instances->Next(milliseconds, most, places.data(), &returned);
    for (std::size_t at = 0; at < std::min(returned, most); ++at)
        fetched.slots.emplace_back(places[at]);
    return fetched;
}

std::vector<ComPtr<IWbemClassObject>> FirstBatch(IWbemServices* services,
                                                 std::wstring_view className,
                                                 std::uint32_t maxInstances)
{
    const auto instances = StartEnumeration(services, className);
    if (!instances)
        return {};
    Fetched batch = FetchInstances(instances.get(), kBatchMilliseconds, maxInstances);
    if (FAILED(batch.result))
        return {};
    std::erase_if(batch.slots, [](const auto& instance) { return !instance; });
    return std::move(batch.slots);
}

std::optional<WideString> ObjectText(IWbemClassObject* object)
{
    UniqueBstr text;
    if (FAILED(object->GetObjectText(WBEM_FLAG_NO_FLAVORS, text.put())))
        return std::nullopt;
    return WideString{TextOf(text.get())};
}

WmiResult<IWbemClassObject> MakeMethodInput(IWbemServices* services, const wchar_t* className,
                                            const wchar_t* methodName)
{
    const UniqueBstr name = MakeBstr(className);
    ComPtr<IWbemClassObject> definition, signature;
    WmiResult<IWbemClassObject> input;
    input.result = services->GetObject(name.get(), 0, nullptr, definition.put(), nullptr);
    if (SUCCEEDED(input.result) && !definition)
        input.result = E_FAIL;
    if (SUCCEEDED(input.result))
        input.result = definition->GetMethod(methodName, 0, signature.put(), nullptr);
    if (SUCCEEDED(input.result) && signature)
        input.result = signature->SpawnInstance(0, input.put());
    return input;
}

WmiResult<IWbemClassObject> RunMethod(IWbemServices* services, const wchar_t* methodName,
                                      std::wstring_view object, IWbemClassObject* input)
{
    const UniqueBstr path = MakeBstr(object);
    const UniqueBstr method = MakeBstr(methodName);
    WmiResult<IWbemClassObject> output;
    output.result =
        services->ExecMethod(path.get(), method.get(), 0, nullptr, input, output.put(), nullptr);
    if (FAILED(output.result))
        output.reset();
    return output;
}

bool HasProperty(IWbemClassObject* object, const wchar_t* name)
{
    UniqueVariant value;
    return SUCCEEDED(object->Get(name, 0, value.put(), nullptr, nullptr)) && !value.isMissing();
}

std::optional<WideString> ReadTextProperty(IWbemClassObject* object, const wchar_t* name)
{
    UniqueVariant value;
    if (FAILED(object->Get(name, 0, value.put(), nullptr, nullptr)) || value.type() != VT_BSTR)
        return std::nullopt;
    return WideString{TextOf(value.get().bstrVal)};
}

std::optional<WideString> ReadNullableTextProperty(IWbemClassObject* object, const wchar_t* name)
{
    UniqueVariant value;
    if (FAILED(object->Get(name, 0, value.put(), nullptr, nullptr)))
        return std::nullopt;
    if (value.isMissing())
        return WideString{};
    if (value.type() != VT_BSTR)
        return std::nullopt;
    return WideString{TextOf(value.get().bstrVal)};
}

std::optional<std::int32_t> IntegerOf(const UniqueVariant& value) noexcept
{
    if (value.type() == VT_UI4)
        return static_cast<std::int32_t>(value.get().ulVal);  // the same 32 bits, signed
    UniqueVariant number;
    VARIANT source = value.get();  // borrows the content: not every header takes a constant here
    if (value.isMissing() || FAILED(VariantChangeType(number.put(), &source, 0, VT_I4)))
        return std::nullopt;
    return static_cast<std::int32_t>(number.get().lVal);
}

std::optional<std::int32_t> ReadIntegerProperty(IWbemClassObject* object, const wchar_t* name)
{
    UniqueVariant value;
    if (FAILED(object->Get(name, 0, value.put(), nullptr, nullptr)))
        return std::nullopt;
    return IntegerOf(value);
}

}  // namespace orrery

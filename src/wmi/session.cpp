#include "wmi/session.h"

#include <algorithm>
#include <array>

namespace orrery {
namespace {

ComPtr<IWbemServices> Connect(DWORD serverContext, const wchar_t* wmiNamespace, HRESULT* result)
{
    ComPtr<IWbemLocator> locator;
    *result = CoCreateInstance(CLSID_WbemLocator, nullptr, serverContext, IID_IWbemLocator,
                               locator.putVoid());
    if (FAILED(*result) || !locator)
        return {};
    ComPtr<IWbemServices> services;
    const UniqueBstr name = MakeBstr(wmiNamespace);
    *result = locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                     services.put());
    if (FAILED(*result))
        return {};
    return services;
}

}  // namespace

ComPtr<IWbemServices> OpenDefaultSession(HRESULT* result)
{
    HRESULT unwanted = E_FAIL;
    HRESULT& connected = result != nullptr ? *result : unwanted;
    ComPtr<IWbemServices> services = Connect(CLSCTX_ALL, L"root\\cimv2", &connected);
    if (!services || connected != S_OK)
        return services;
    ComPtr<IClientSecurity> security;
    if (SUCCEEDED(services->QueryInterface(IID_IClientSecurity, security.putVoid())))
        static_cast<void>(security->SetBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE,
                                               nullptr, RPC_C_AUTHN_LEVEL_CONNECT,
                                               RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
    return services;
}

ComPtr<IWbemServices> OpenSession(const wchar_t* wmiNamespace, RefusedBlanket refused,
                                  HRESULT* result)
{
    HRESULT unwanted = E_FAIL;
    HRESULT& last = result != nullptr ? *result : unwanted;
    ComPtr<IWbemServices> services = Connect(CLSCTX_INPROC_SERVER, wmiNamespace, &last);
    if (!services)
        return {};
    last =
        CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                          RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    if (FAILED(last) && refused == RefusedBlanket::kEndsSession)
        return {};
    return services;
}

ComPtr<IWbemClassObject> QueryRows::Next()
{
    constexpr auto kNoTimeLimit = static_cast<long>(WBEM_INFINITE);
    ComPtr<IWbemClassObject> row;
    ULONG returned = 0;
    if (!rows_)
        return {};
    result_ = rows_->Next(kNoTimeLimit, 1, row.put(), &returned);
    if (FAILED(result_) || returned == 0)
        return {};
    return row;
}

ComPtr<IEnumWbemClassObject> StartQuery(IWbemServices* services, std::wstring_view wql,
                                        HRESULT* result)
{
    const UniqueBstr language = MakeBstr(L"WQL");
    const UniqueBstr text = MakeBstr(wql);
    ComPtr<IEnumWbemClassObject> rows;
    const HRESULT started = services->ExecQuery(
        language.get(), text.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
        rows.put());
    if (result != nullptr)
        *result = started;
    if (FAILED(started) || !rows)
        return {};
    // The rows are worth having under default security too, so a refusal is no reason to stop.
    static_cast<void>(CoSetProxyBlanket(rows.get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT,
                                        COLE_DEFAULT_PRINCIPAL, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
    return rows;
}

QueryRows Query(IWbemServices* services, std::wstring_view wql)
{
    HRESULT result = E_FAIL;
    auto rows = StartQuery(services, wql, &result);
    return QueryRows{std::move(rows), result};
}

ComPtr<IEnumWbemClassObject> StartEnumeration(IWbemServices* services, std::wstring_view className,
                                              HRESULT* result)
{
    const UniqueBstr name = MakeBstr(className);
    ComPtr<IEnumWbemClassObject> instances;
    const HRESULT ended =
        services->CreateInstanceEnum(name.get(), WBEM_FLAG_SHALLOW, nullptr, instances.put());
    if (result != nullptr)
        *result = ended;
    if (FAILED(ended))
        return {};
    return instances;
}

std::vector<ComPtr<IWbemClassObject>> FirstBatch(IWbemServices* services,
                                                 std::wstring_view className,
                                                 std::uint32_t maxInstances)
{
    std::array<IWbemClassObject*, 1024> slots{};

    const auto instances = StartEnumeration(services, className);
    if (!instances)
        return {};
    const auto wanted = std::min<ULONG>(maxInstances, static_cast<ULONG>(slots.size()));
    std::vector<ComPtr<IWbemClassObject>> batch;
    batch.reserve(wanted);  // before there is anything that a shortage of memory could leak
    ULONG returned = 0;
    const HRESULT result = instances->Next(kBatchMilliseconds, wanted, slots.data(), &returned);
    for (std::size_t at = 0; at < std::min(returned, wanted); ++at)
        if (slots[at] != nullptr)
            batch.emplace_back(slots[at]);
    if (FAILED(result))
        batch.clear();
    return batch;
}

std::optional<WideString> ObjectText(IWbemClassObject* object)
{
    UniqueBstr text;
    if (FAILED(object->GetObjectText(WBEM_FLAG_NO_FLAVORS, text.put())))
        return std::nullopt;
    return WideString{TextOf(text.get())};
}

HRESULT MakeMethodInput(IWbemServices* services, const wchar_t* className,
                        const wchar_t* methodName, ComPtr<IWbemClassObject>* input)
{
    const UniqueBstr name = MakeBstr(className);
    ComPtr<IWbemClassObject> definition, signature;
    HRESULT result = services->GetObject(name.get(), 0, nullptr, definition.put(), nullptr);
    if (SUCCEEDED(result) && !definition)
        result = E_FAIL;
    if (SUCCEEDED(result))
        result = definition->GetMethod(methodName, 0, signature.put(), nullptr);
    return FAILED(result) || !signature ? result : signature->SpawnInstance(0, input->put());
}

HRESULT RunMethod(IWbemServices* services, const wchar_t* methodName, std::wstring_view object,
                  IWbemClassObject* input, ComPtr<IWbemClassObject>* output)
{
    const UniqueBstr path = MakeBstr(object);
    const UniqueBstr method = MakeBstr(methodName);
    return services->ExecMethod(path.get(), method.get(), 0, nullptr, input, output->put(),
                                nullptr);
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

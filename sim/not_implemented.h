#pragma once

#include <windows.h>
#include <wbemcli.h>

namespace orrery::sim {

// The parts of the WMI interfaces that the simulation does not offer. The calling convention is
// left out, since x64 has one only.

using Context = IWbemContext;
using Sink = IWbemObjectSink;
using CallResult = IWbemCallResult;
using Qualifiers = IWbemQualifierSet;
using Object = IWbemClassObject;
using Enumerator = IEnumWbemClassObject;

struct PartialEnumerator : Enumerator {
    HRESULT Reset() override { return E_NOTIMPL; }
    HRESULT NextAsync(ULONG, Sink*) override { return E_NOTIMPL; }
    HRESULT Clone(Enumerator**) override { return E_NOTIMPL; }
    HRESULT Skip(LONG, ULONG) override { return E_NOTIMPL; }
};

struct PartialObject : Object {
    HRESULT GetQualifierSet(Qualifiers**) override { return E_NOTIMPL; }
    HRESULT Delete(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override { return E_NOTIMPL; }
    HRESULT BeginEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }
    HRESULT EndEnumeration() override { return E_NOTIMPL; }
    HRESULT GetPropertyQualifierSet(LPCWSTR, Qualifiers**) override { return E_NOTIMPL; }
    HRESULT Clone(Object**) override { return E_NOTIMPL; }
    HRESULT SpawnDerivedClass(LONG, Object**) override { return E_NOTIMPL; }
    HRESULT CompareTo(LONG, Object*) override { return E_NOTIMPL; }
    HRESULT GetPropertyOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    HRESULT InheritsFrom(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT PutMethod(LPCWSTR, LONG, Object*, Object*) override { return E_NOTIMPL; }
    HRESULT DeleteMethod(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT BeginMethodEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT NextMethod(LONG, BSTR*, Object**, Object**) override { return E_NOTIMPL; }
    HRESULT EndMethodEnumeration() override { return E_NOTIMPL; }
    HRESULT GetMethodQualifierSet(LPCWSTR, Qualifiers**) override { return E_NOTIMPL; }
    HRESULT GetMethodOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
};

struct PartialServices : IWbemServices {
    using Name = const BSTR;

    HRESULT OpenNamespace(Name, LONG, Context*, IWbemServices**, CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT CancelAsyncCall(Sink*) override { return E_NOTIMPL; }
    HRESULT QueryObjectSink(LONG, Sink**) override { return E_NOTIMPL; }
    HRESULT GetObjectAsync(Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT PutClass(Object*, LONG, Context*, CallResult**) override { return E_NOTIMPL; }
    HRESULT PutClassAsync(Object*, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT DeleteClass(Name, LONG, Context*, CallResult**) override { return E_NOTIMPL; }
    HRESULT DeleteClassAsync(Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT CreateClassEnum(Name, LONG, Context*, Enumerator**) override { return E_NOTIMPL; }
    HRESULT CreateClassEnumAsync(Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT PutInstance(Object*, LONG, Context*, CallResult**) override { return E_NOTIMPL; }
    HRESULT PutInstanceAsync(Object*, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT DeleteInstance(Name, LONG, Context*, CallResult**) override { return E_NOTIMPL; }
    HRESULT DeleteInstanceAsync(Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT CreateInstanceEnumAsync(Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT ExecQueryAsync(Name, Name, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT ExecNotificationQuery(Name, Name, LONG, Context*, Enumerator**) override
    {
        return E_NOTIMPL;
    }
    HRESULT ExecNotificationQueryAsync(Name, Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT ExecMethodAsync(Name, Name, LONG, Context*, Object*, Sink*) override
    {
        return E_NOTIMPL;
    }
};

}  // namespace orrery::sim

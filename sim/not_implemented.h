#pragma once

#include <windows.h>
#include <wbemcli.h>

namespace orrery::sim {

// The parts of the WMI interfaces that the simulation does not offer.

using Context = IWbemContext;
using Sink = IWbemObjectSink;
using CallResult = IWbemCallResult;
using Qualifiers = IWbemQualifierSet;
using Object = IWbemClassObject;
using Enumerator = IEnumWbemClassObject;

struct PartialEnumerator : Enumerator {
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextAsync(ULONG, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(Enumerator**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) override { return E_NOTIMPL; }
};

struct PartialObject : Object {
    HRESULT STDMETHODCALLTYPE GetQualifierSet(Qualifiers**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EndEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR, Qualifiers**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Clone(Object**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, Object**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CompareTo(LONG, Object*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, Object*, Object*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, Object**, Object**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, Qualifiers**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
};

struct PartialServices : IWbemServices {
    using Name = const BSTR;

    HRESULT STDMETHODCALLTYPE OpenNamespace(Name, LONG, Context*, IWbemServices**,
                                            CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CancelAsyncCall(Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, Sink**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObjectAsync(Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutClass(Object*, LONG, Context*, CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutClassAsync(Object*, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteClass(Name, LONG, Context*, CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteClassAsync(Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateClassEnum(Name, LONG, Context*, Enumerator**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutInstance(Object*, LONG, Context*, CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE PutInstanceAsync(Object*, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstance(Name, LONG, Context*, CallResult**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecQueryAsync(Name, Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQuery(Name, Name, LONG, Context*,
                                                    Enumerator**) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(Name, Name, LONG, Context*, Sink*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ExecMethodAsync(Name, Name, LONG, Context*, Object*, Sink*) override
    {
        return E_NOTIMPL;
    }
};

}  // namespace orrery::sim

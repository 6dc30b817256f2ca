#include "sim/simulation.h"

#include <objbase.h>
#include <wbemcli.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "sim/not_implemented.h"
#include "support/com.h"
#include "support/text.h"

namespace orrery::sim {

/// Base of the simulated COM objects. Their memory stays after the last release, so that a later
/// call on one is recognised.
class Counted {
public:
    Counted(Machine* machine, const IID& id, const char* name);
    virtual ~Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

protected:
    ULONG Increment();
    ULONG Decrement();
    /// Records a call and carries it out, see CallLog::Run.
    template <class Action>
    HRESULT Call(std::string_view call, std::initializer_list<std::string> arguments,
                 Action carryOut);

    Machine* const machine_;
    const IID& id_;
    const char* const name_;

private:
    void ExpectReferences(long count) const;

    std::atomic<long> references_{1};
};

class Machine {
public:
    explicit Machine(std::wstring_view text) : scenario(text) {}

    /// Makes an object with one reference, which the caller owns.
    template <class T, class... Arguments>
    T* Make(Arguments&&... arguments)
    {
        auto object = std::make_unique<T>(this, std::forward<Arguments>(arguments)...);
        T* const made = object.get();
        const std::lock_guard hold{lock_};
        objects_.push_back(std::move(object));
        return made;
    }

    void ForgetObjects()
    {
        const std::lock_guard hold{lock_};
        if (liveObjects != 0)
            throw std::logic_error("simulated objects are still alive");
        objects_.clear();
    }

    const Scenario scenario;
    CallLog calls;
    std::atomic<int> liveObjects{0};

private:
    std::mutex lock_;
    std::vector<std::unique_ptr<Counted>> objects_;
};

Counted::Counted(Machine* machine, const IID& id, const char* name)
    : machine_(machine), id_(id), name_(name)
{
    ++machine_->liveObjects;
}

void Counted::ExpectReferences(long count) const
{
    if (count > 0)
        return;
    std::fprintf(stderr, "call on a released %s\n", name_);
    std::abort();
}

ULONG Counted::Increment()
{
    const long before = references_++;
    ExpectReferences(before);
    return static_cast<ULONG>(before + 1);
}

ULONG Counted::Decrement()
{
    const long before = references_--;
    ExpectReferences(before);
    if (before == 1)
        --machine_->liveObjects;
    return static_cast<ULONG>(before - 1);
}

template <class Action>
HRESULT Counted::Call(std::string_view call, std::initializer_list<std::string> arguments,
                      Action carryOut)
{
    ExpectReferences(references_);
    return machine_->calls.Run(call, arguments, carryOut);
}

namespace {

/// The simulation that is installed.
std::atomic<Machine*> current{nullptr};

/// A simulated COM object with one interface.
template <class Interface>
class ComObject : public Counted, public Interface {
public:
    using Counted::Counted;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        *object = nullptr;
        if (id != IID_IUnknown && id != id_)
            return E_NOINTERFACE;
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return Increment(); }
    ULONG STDMETHODCALLTYPE Release() override { return Decrement(); }
};

/// A simulated COM object that takes security blankets.
template <class Interface>
class SecuredObject : public ComObject<Interface>, public IClientSecurity {
public:
    using ComObject<Interface>::ComObject;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        if (id != IID_IClientSecurity)
            return ComObject<Interface>::QueryInterface(id, object);
        *object = nullptr;
        const std::string call = std::string{this->name_} + "::QueryInterface";
        return this->Call(call, {"IClientSecurity"}, [&]() -> HRESULT {
            AddRef();
            *object = static_cast<IClientSecurity*>(this);
            return S_OK;
        });
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return this->Increment(); }
    ULONG STDMETHODCALLTYPE Release() override { return this->Decrement(); }

    HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD authentication, DWORD authorization,
                                         OLECHAR* principal, DWORD level, DWORD impersonation,
                                         void* identity, DWORD capabilities) override
    {
        const auto number = [](DWORD value) { return Shown(static_cast<long>(value)); };
        return this->Call(
            "IClientSecurity::SetBlanket",
            {number(authentication), number(authorization), Shown(principal), number(level),
             number(impersonation), ShownPointer(identity), number(capabilities)},
            [] { return S_OK; });
    }
    HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*,
                                           void**, DWORD*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override { return E_NOTIMPL; }

private:
    static std::string ShownPointer(const void* pointer)
    {
        return pointer == nullptr ? "null" : pointer == COLE_DEFAULT_AUTHINFO ? "-1" : "given";
    }
};

HRESULT Copy(VARIANT from, VARIANT* to)
{
    return VariantCopy(to, &from);
}

/// Stores null where a result is wanted, which is what a failing call leaves there.
template <class T>
void Clear(T** place)
{
    if (place != nullptr)
        *place = nullptr;
}

/// An instance, a class, or the signature of a method.
class CObject final : public ComObject<PartialObject> {
public:
    CObject(Machine* machine, const Namespace* home, Row row)
        : ComObject(machine, IID_IWbemClassObject, "IWbemClassObject"),
          home_(home),
          row_(std::move(row))
    {}

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                  LONG* flavor) override
    {
        if (value != nullptr)
            VariantInit(value);
        return Call("IWbemClassObject::Get", {Shown(name), ShownFlags(flags)}, [&]() -> HRESULT {
            const Property* const property = row_->Find(name);
            if (property == nullptr)
                return kWmiNotFound;
            if (type != nullptr)
                *type = property->value->type();  // CIM types have the numbers of VARIANT types
            if (flavor != nullptr)
                *flavor = WBEM_FLAVOR_ORIGIN_LOCAL;
            return value == nullptr ? S_OK : Copy(property->value->get(), value);
        });
    }

    HRESULT STDMETHODCALLTYPE GetObjectText(LONG flags, BSTR* text) override
    {
        Clear(text);
        return Call("IWbemClassObject::GetObjectText", {ShownFlags(flags)}, [&]() -> HRESULT {
            if (!row_->hasText)
                return kWmiFailed;
            *text = MakeBstr(row_->Text()).release();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, Object** input,
                                        Object** output) override
    {
        Clear(input);
        Clear(output);
        return Call("IWbemClassObject::GetMethod", {Shown(name), ShownFlags(flags)},
                    [&]() -> HRESULT {
                        const auto& methods = home_->methods;
                        const bool takesInput =
                            std::any_of(methods.begin(), methods.end(), [&](const Method& method) {
                                return method.takesInput && EqualsIgnoringCase(method.name, name);
                            });
                        if (takesInput && input != nullptr)
                            *input = MakeEmpty(L"__PARAMETERS");
                        return S_OK;
                    });
    }

    HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, Object** made) override
    {
        Clear(made);
        return Call("IWbemClassObject::SpawnInstance", {ShownFlags(flags)}, [&]() -> HRESULT {
            *made = MakeEmpty(row_->className);
            return S_OK;
        });
    }

    /// The value is only recorded in the trace.
    HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE) override
    {
        UniqueVariant text;
        if (value != nullptr)
            static_cast<void>(VariantChangeType(text.put(), value, 0, VT_BSTR));
        const BSTR shown = text.type() == VT_BSTR ? text.get().bstrVal : nullptr;
        return Call("IWbemClassObject::Put", {Shown(name), ShownFlags(flags), Shown(shown)},
                    [] { return S_OK; });
    }

private:
    Object* MakeEmpty(std::wstring className) const
    {
        Instance empty;
        empty.className = std::move(className);
        return machine_->Make<CObject>(home_, std::make_shared<const Instance>(std::move(empty)));
    }

    const Namespace* home_;
    Row row_;
};

class CEnumerator final : public SecuredObject<PartialEnumerator> {
public:
    /// @param failure given by every Next when it is not a success
    CEnumerator(Machine* machine, const Namespace* home, Rows rows, HRESULT failure)
        : SecuredObject(machine, IID_IEnumWbemClassObject, "IEnumWbemClassObject"),
          home_(home),
          rows_(std::move(rows)),
          failure_(failure)
    {}

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, Object** objects,
                                   ULONG* returned) override
    {
        if (objects == nullptr || returned == nullptr)
            return kWmiInvalidParameter;
        std::fill_n(objects, count, nullptr);
        *returned = 0;
        return Call("IEnumWbemClassObject::Next", {Shown(timeout), Shown(static_cast<long>(count))},
                    [&]() -> HRESULT {
                        return FAILED(failure_) ? failure_
                                                : Deliver(timeout, count, objects, returned);
                    });
    }

private:
    using Clock = std::chrono::steady_clock;

    HRESULT Deliver(LONG timeout, ULONG count, Object** objects, ULONG* returned)
    {
        const std::lock_guard hold{lock_};
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds{timeout};
        for (; *returned < count; ++next_) {
            if (next_ == rows_.size())
                return WBEM_S_FALSE;
            const Row& row = rows_[next_];
            const Clock::time_point ready = start_ + row->delay;
            if (timeout >= 0 && ready > deadline) {
                std::this_thread::sleep_until(deadline);
                return WBEM_S_TIMEDOUT;
            }
            std::this_thread::sleep_until(ready);
            if (!row->isEmptySlot)
                objects[*returned] = machine_->Make<CObject>(home_, row);
            ++*returned;
        }
        return S_OK;
    }

    const Namespace* const home_;
    const Rows rows_;
    const HRESULT failure_;
    const Clock::time_point start_ = Clock::now();
    std::mutex lock_;
    std::size_t next_ = 0;
};

class CServices final : public SecuredObject<PartialServices> {
public:
    CServices(Machine* machine, const Namespace* home)
        : SecuredObject(machine, IID_IWbemServices, "IWbemServices"), home_(home)
    {}

    HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR name, LONG flags, Context*,
                                                 Enumerator** rows) override
    {
        Clear(rows);
        return Call("IWbemServices::CreateInstanceEnum", {Shown(name), ShownFlags(flags)},
                    [&]() -> HRESULT {
                        const Rows* const instances = home_->FindClass(TextOf(name));
                        if (instances == nullptr)
                            return kWmiInvalidClass;
                        *rows = machine_->Make<CEnumerator>(home_, *instances, S_OK);
                        return S_OK;
                    });
    }

    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, Context*,
                                        Enumerator** rows) override
    {
        Clear(rows);
        return Call("IWbemServices::ExecQuery", {Shown(language), Shown(query), ShownFlags(flags)},
                    [&]() -> HRESULT {
                        if (!EqualsIgnoringCase(TextOf(language), L"WQL"))
                            return kWmiInvalidQueryType;
                        Rows found;
                        const HRESULT result = home_->Query(TextOf(query), &found);
                        if (result == kWmiInvalidQuery)
                            return result;
                        // an unknown class shows when the first row is fetched
                        *rows = machine_->Make<CEnumerator>(home_, std::move(found), result);
                        return S_OK;
                    });
    }

    HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, Context*, Object** object,
                                        CallResult**) override
    {
        Clear(object);
        return Call("IWbemServices::GetObject", {Shown(path), ShownFlags(flags)}, [&]() -> HRESULT {
            if (home_->FindClass(TextOf(path)) == nullptr)
                return kWmiNotFound;
            Instance definition;
            definition.className = TextOf(path);
            definition.hasText = false;
            *object = machine_->Make<CObject>(
                home_, std::make_shared<const Instance>(std::move(definition)));
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR name, LONG flags, Context*,
                                         Object* input, Object** output, CallResult**) override
    {
        Clear(output);
        const char* const shownInput = input == nullptr ? "null" : "given";
        return Call("IWbemServices::ExecMethod",
                    {Shown(path), Shown(name), ShownFlags(flags), shownInput}, [&]() -> HRESULT {
                        for (const Method& method : home_->methods)
                            if (method.output && (input != nullptr || !method.takesInput) &&
                                EqualsIgnoringCase(method.name, TextOf(name)) &&
                                EqualsIgnoringCase(method.objectPath, TextOf(path))) {
                                if (output != nullptr)
                                    *output = machine_->Make<CObject>(home_, method.output);
                                return S_OK;
                            }
                        return kWmiInvalidMethodParameters;
                    });
    }

private:
    const Namespace* const home_;
};

class CLocator final : public ComObject<IWbemLocator> {
public:
    explicit CLocator(Machine* machine) : ComObject(machine, IID_IWbemLocator, "IWbemLocator") {}

    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR resource, const BSTR user,
                                            const BSTR password, const BSTR locale, LONG flags,
                                            const BSTR authority, Context*,
                                            IWbemServices** services) override
    {
        Clear(services);
        return Call("IWbemLocator::ConnectServer",
                    {Shown(resource), Shown(user), Shown(password), Shown(locale),
                     ShownFlags(flags), Shown(authority)},
                    [&]() -> HRESULT {
                        const Namespace* const home = machine_->scenario.Find(TextOf(resource));
                        if (home == nullptr)
                            return kWmiInvalidNamespace;
                        *services = machine_->Make<CServices>(home);
                        return S_OK;
                    });
    }
};

/// Stands in for CoCreateInstance. Other classes take the way that CoCreateInstance is short for.
HRESULT WINAPI CreateInstance(REFCLSID id, IUnknown* outer, DWORD context, REFIID wanted,
                              void** object)
{
    *object = nullptr;
    Machine* const machine = current;
    if (machine == nullptr || id != CLSID_WbemLocator) {
        ComPtr<IClassFactory> factory;
        const HRESULT result =
            CoGetClassObject(id, context, nullptr, IID_IClassFactory, factory.putVoid());
        return FAILED(result) ? result : factory->CreateInstance(outer, wanted, object);
    }
    return machine->calls.Run("CoCreateInstance", {ShownFlags(context)}, [&]() -> HRESULT {
        APTTYPE apartment = APTTYPE_CURRENT;
        APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
        if (const HRESULT outside = CoGetApartmentType(&apartment, &qualifier); FAILED(outside))
            return outside;
        if (!machine->scenario.hasWmi())
            return REGDB_E_CLASSNOTREG;
        const ComPtr<CLocator> locator{machine->Make<CLocator>()};
        return locator->QueryInterface(wanted, object);
    });
}

/// Machines stay until the process ends: a thread that was left behind may still hold objects.
Machine* Install(std::wstring_view text)
{
    static std::vector<std::unique_ptr<Machine>> machines;
    if (current != nullptr)
        throw std::logic_error("there is a simulated machine already");
    machines.push_back(std::make_unique<Machine>(text));
    return current = machines.back().get();
}

}  // namespace

Simulation::Simulation(std::wstring_view scenario)
    : machine_(Install(scenario)),
      calls_(machine_->calls),
      detour_(L"ole32.dll", "CoCreateInstance", &CreateInstance)
{}

Simulation::~Simulation()
{
    current = nullptr;
}

void Simulation::Forget()
{
    machine_->ForgetObjects();
    machine_->calls.ForgetLines();
}

int Simulation::LiveObjects() const
{
    return machine_->liveObjects;
}

}  // namespace orrery::sim

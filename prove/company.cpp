#include "prove/company.h"

#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include "support/com.h"

namespace orrery::prove {
namespace {

void ServeCalls()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

}  // namespace

Company::Company() : server_([this] { Serve(); }), client_([this] { Call(); }) {}

Company::~Company()
{
    ending_ = true;
    client_.join();
    server_.join();
}

void Company::Serve()
{
    const ComApartment apartment;
    ComPtr<IStream> stream;
    Expect(SUCCEEDED(CreateStreamOnHGlobal(nullptr, TRUE, stream.put())));
    // The client ends first: it needs somebody who answers.
    while (!ending_ || !clientEnded_) {
        ServeCalls();
        ComPtr<IUnknown> link;
        Expect(SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_IUnknown, link.putVoid())));
        if (offered_ == nullptr && !ending_) {
            ComPtr<IStream> parcel;
            Expect(SUCCEEDED(
                CoMarshalInterThreadInterfaceInStream(IID_IStream, stream.get(), parcel.put())));
            offered_ = parcel.detach();
        }
        Sleep(1);
        if (ending_ && offered_ == nullptr)
            break;
    }
    ServeCalls();
}

void Company::Call()
{
    Expect(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    while (!ending_ || offered_ != nullptr) {
        auto* const parcel = static_cast<IStream*>(offered_.load());
        if (parcel == nullptr) {
            Sleep(1);
            continue;
        }
        ComPtr<IStream> stream;
        Expect(SUCCEEDED(CoGetInterfaceAndReleaseStream(parcel, IID_IStream, stream.putVoid())));
        STATSTG facts{};
        if (stream)
            Expect(SUCCEEDED(stream->Stat(&facts, STATFLAG_NONAME)));
        stream.reset();
        ++rounds_;
        offered_ = nullptr;
    }
    CoUninitialize();
    clientEnded_ = true;
}

}  // namespace orrery::prove

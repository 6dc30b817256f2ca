#include "prove/company.h"

#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include "support/com.h"

namespace orrery::prove {

Company::Company()
    : threads_{std::thread{&Company::Work, this, COINIT_APARTMENTTHREADED},
               std::thread{&Company::Work, this, COINIT_MULTITHREADED}}
{}

Company::~Company()
{
    ending_ = true;
    for (std::thread& thread : threads_)
        thread.join();
}

void Company::Work(unsigned long apartment)
{
    const auto expect = [this](HRESULT result) { failures_ += SUCCEEDED(result) ? 0 : 1; };
    expect(CoInitializeEx(nullptr, apartment));
    {
        ComPtr<IStream> kept;  // lives through all runs of the library
        expect(CreateStreamOnHGlobal(nullptr, TRUE, kept.put()));
        for (; !ending_; Sleep(1)) {
            ComPtr<IUnknown> link;
            expect(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                    link.putVoid()));
            STATSTG facts{};
            expect(kept ? kept->Stat(&facts, STATFLAG_NONAME) : E_POINTER);
            ++rounds_;
        }
    }
    CoUninitialize();
}

}  // namespace orrery::prove

#include "prove/proofs.h"

#include <windows.h>
#include <objbase.h>
#include <shlobj.h>
#include <tlhelp32.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "client/system/console.h"
#include "prove/guard.h"
#include "prove/rig.h"
#include "support/com.h"

namespace orrery::prove {
namespace {

// Not one a run: locks of this program itself take one at the first wait for them.
constexpr std::uintptr_t kMostRise = 2 * sizeof(void*);
constexpr std::size_t kMostGrowth = std::size_t{512} * 1024;  // bytes, for all runs together

/// What a process holds.
struct Footprint {
    std::uintptr_t freshHandle;
    int threads;
    std::size_t privateBytes;
    int blocks;  ///< of the library alone
};

int CountThreads()
{
    const UniqueFile snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0)};
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more;
         more = Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    return count;
}

/// Committed memory of this process alone, region by region: Wine leaves the counter of it at 0.
std::size_t CountPrivateBytes()
{
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const std::byte* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;
         at = static_cast<const std::byte*>(region.BaseAddress) + region.RegionSize)
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            bytes += region.RegionSize;
    return bytes;
}

Footprint ReadFootprint()
{
    return {FreshHandle(), CountThreads(), CountPrivateBytes(), Gates::BlocksHeld()};
}

void PrintFootprint(int run, const Footprint& print)
{
    Print("  after run " + std::to_string(run) + ": fresh handle " +
          std::to_string(print.freshHandle) + ", threads " + std::to_string(print.threads) +
          ", private " + std::to_string(print.privateBytes / 1024) + " KiB, library " +
          std::to_string(print.blocks) + " blocks\n");
}

/// The apartment in which a host's thread may be when it calls; nothing for none.
void RunFrom(std::optional<DWORD> apartment, const std::function<void()>& collect)
{
    std::thread{[&] {
        if (apartment)
            static_cast<void>(CoInitializeEx(nullptr, *apartment));
        collect();
        if (apartment)
            CoUninitialize();
    }}.join();
}

/// Other COM work of a host, done as long as the object lives by a thread in each kind of apartment,
/// which makes objects and uses one that it keeps.
class Company {
public:
    Company() = default;
    ~Company()
    {
        ending_ = true;
        for (std::thread& thread : threads_)
            thread.join();
    }
    Company(const Company&) = delete;
    Company& operator=(const Company&) = delete;

    int rounds() const noexcept { return rounds_; }
    int failures() const noexcept { return failures_; }  ///< COM calls that did not succeed

private:
    void Work(unsigned long apartment)
    {
        const auto expect = [this](HRESULT result) { failures_ += SUCCEEDED(result) ? 0 : 1; };
        expect(CoInitializeEx(nullptr, apartment));
        {
            ComPtr<IStream> kept;  // lives through all runs of the library
            expect(CreateStreamOnHGlobal(nullptr, TRUE, kept.put()));
            for (; !ending_; Sleep(1)) {
                ComPtr<IUnknown> link;
                expect(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IUnknown, link.putVoid()));
                STATSTG facts{};
                expect(kept ? kept->Stat(&facts, STATFLAG_NONAME) : E_POINTER);
                ++rounds_;
            }
        }
        CoUninitialize();
    }

    std::atomic<bool> ending_{false};
    std::atomic<int> rounds_{0}, failures_{0};
    std::array<std::thread, 2> threads_{std::thread{&Company::Work, this, COINIT_APARTMENTTHREADED},
                                        std::thread{&Company::Work, this, COINIT_MULTITHREADED}};
};

class Soaker {
public:
    Soaker() { rig_.Load(MachineFile(L"workstation")); }

    void RunMany(int runs, bool inCompany)
    {
        Print(std::string{inCompany ? "beside other COM work" : "alone"} + ", " +
              std::to_string(runs) + " runs\n");
        const int warmUp = runs / 10;
        const Footprint early = RunSome(1, warmUp, inCompany);
        const Footprint late = RunSome(warmUp + 1, runs, inCompany);
        Expect(late.freshHandle <= early.freshHandle + kMostRise,
               "the value of a fresh handle has risen");
        Expect(late.threads <= early.threads, "there are more threads");
        Expect(late.privateBytes <= early.privateBytes + kMostGrowth, "private memory has grown");
        Expect(late.blocks <= early.blocks, "the library holds more blocks of memory");
    }

    int findings() const noexcept { return findings_; }

private:
    /// What other work holds at the moment is not the library's, so it ends before one looks.
    Footprint RunSome(int first, int last, bool inCompany)
    {
        std::optional<Company> company;
        if (inCompany)
            company.emplace();
        for (int run = first; run <= last; ++run)
            Collect(run, inCompany);
        if (company)
            Expect(company->rounds() > 0 && company->failures() == 0, "other COM work failed");
        company.reset();
        const Footprint now = ReadFootprint();
        PrintFootprint(last, now);
        return now;
    }

    void Collect(int run, bool inCompany)
    {
        constexpr std::optional<DWORD> kApartments[] = {std::nullopt, COINIT_APARTMENTTHREADED,
                                                        COINIT_MULTITHREADED};
        NowTrying("run " + std::to_string(run) + " of the soak");
        Facts facts;
        RunFrom(kApartments[run % 3],
                [&] { facts = rig_.Run(run % 4 != 0, {}, nullptr, !inCompany); });
        Expect(facts.elapsedTimes == 13 && facts.flaws.empty() &&
                   (run <= 4 || facts.leftovers.empty()),
               "run " + std::to_string(run) + facts.flaws + facts.leftovers);
    }

    void Expect(bool holds, const std::string& what)
    {
        if (holds)
            return;
        ++findings_;
        Print("FOUND " + what + " (again: scripts/prove soak)\n");
    }

    Rig rig_;
    int findings_ = 0;
};

}  // namespace

int Soak(int runs)
{
    Soaker soaker;
    for (const bool inCompany : {false, true})
        soaker.RunMany(runs, inCompany);
    return soaker.findings();
}

}  // namespace orrery::prove

#include "native/user_context.h"

namespace orrery {
namespace {

/// The token of the process a window belongs to, fit for impersonation; none without the rights.
UniqueHandle OpenOwnerToken(HWND window)
{
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    const UniqueHandle process{OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId)};
    UniqueHandle token;
    if (process)
        OpenProcessToken(process.get(),
                         TOKEN_ASSIGN_PRIMARY | TOKEN_DUPLICATE | TOKEN_QUERY | READ_CONTROL,
                         token.put());
    return token;
}

}  // namespace

CUserContext::~CUserContext()
{
    if (begun_)
        EndImpersonation();
}

void CUserContext::BeginImpersonation()
{
    begun_ = true;
    const HWND userWindow = FindUserWindow(*this);
    if (userWindow == nullptr)
        return;
    token = OpenOwnerToken(userWindow);
    if (token)
        ImpersonateLoggedOnUser(token.get());
}

void CUserContext::EndImpersonation() noexcept
{
    begun_ = false;
    token.reset();
    RevertToSelf();
}

}  // namespace orrery

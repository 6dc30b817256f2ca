#pragma once

#include <windows.h>

namespace orrery {

/// Repeats what may fail for a moment only, while another run or a virus scanner holds the file.
/// @return whether it succeeded; if not, the last error says why
template <class Attempt>
bool SucceedsSoon(const Attempt& attempt)
{
    for (int tries = 1; !attempt(); ++tries) {
        const DWORD error = GetLastError();
        if (tries == 10 || (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)) {
            SetLastError(error);
            return false;
        }
        Sleep(50);
    }
    return true;
}

}  // namespace orrery

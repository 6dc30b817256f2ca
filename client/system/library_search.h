#pragma once

namespace orrery {

/// Has Windows look for libraries that are loaded by their bare name in its own folder only, so that
/// none is taken that lies beside the program, in the current folder or on PATH. First thing in main.
void KeepToSystemLibraries() noexcept;

}  // namespace orrery

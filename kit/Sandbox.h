#pragma once

namespace kit {

/// What the system granted of a sandbox.
struct Sandbox {
    bool fileSystem = false;   ///< Landlock: nothing can be written, made or run, no TCP.
    bool systemCalls = false;  ///< A seccomp filter: files are opened for reading, nothing else.

    [[nodiscard]] bool whole() const { return fileSystem && systemCalls; }
};

/// Leaves this process, for good, the right to read files, to use the descriptors it holds and to
/// start threads: no file is written, no program run, no connection made, no other process
/// signalled or traced. Call it with one thread running. What the system lacks is left out.
Sandbox enterSandbox();

}  // namespace kit

#pragma once

/// What concerns a whole process, which a library leaves to its host.
namespace sondex {

/// For the start of a program that edits files, on its behalf and that of all that it calls: no
/// file that is opened later gets the number of a standard stream that is closed (where it would
/// receive what anybody prints there); SIGTERM, SIGHUP and SIGINT, unless they are ignored, remove
/// the temporary files of edits before they end the program; and a write beyond the limit on
/// files' sizes or into a pipe without a reader fails instead of ending it.
void prepareProcess();

}  // namespace sondex

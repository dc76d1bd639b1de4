#pragma once

namespace WEKU {

/// For a read or write of a descriptor that has just failed: whether it is worth another try. Where
/// somebody made the descriptor non-blocking (a parent with an event loop hands such ones over),
/// waits until it is ready. `events` as poll takes them.
bool worthAnotherTry(int descriptor, short events);

}  // namespace WEKU

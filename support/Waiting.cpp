#include "support/Waiting.h"

#include <poll.h>

#include <cerrno>

namespace WEKU {

bool worthAnotherTry(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd waiting{descriptor, events, 0};
    return ::poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace WEKU

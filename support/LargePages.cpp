#include "support/LargePages.h"

#include <sys/mman.h>

namespace WEKU {

void useLargePages([[maybe_unused]] void* block, [[maybe_unused]] std::uint64_t length) {
#ifdef MADV_HUGEPAGE
    constexpr std::uint64_t page = std::uint64_t{1} << 21;
    if (length < 2 * page) return;
    const std::uint64_t start = reinterpret_cast<std::uintptr_t>(block);
    const std::uint64_t inside = (page - start % page) % page;
    const std::uint64_t whole = (length - inside) / page * page;
    (void)::madvise(static_cast<unsigned char*>(block) + inside, whole, MADV_HUGEPAGE);
#endif
}

}  // namespace WEKU

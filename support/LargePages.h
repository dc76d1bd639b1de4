#pragma once

#include <cstdint>

namespace WEKU {

/// Asks the system to back fresh memory of many megabytes with large pages: taken in small ones,
/// it costs more than what is then copied into it. A refusal, or a system without them, leaves
/// the small pages, which work as well.
void useLargePages(void* block, std::uint64_t length);

}  // namespace WEKU

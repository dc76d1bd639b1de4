#pragma once

namespace WEKU {

/// What the parsers of TIFF data and bit streams throw: a pointer to a constant text that is the
/// message itself. The operation at the edge catches it and prints it behind its own name.
using Failure = const char*;

}  // namespace WEKU

#pragma once

#include "probe/DecoderInterface.h"

/// The video module, loaded with the first call that finds it; null, with a line on standard
/// error that is not repeated, while it cannot be had: the next call tries again, because what a
/// movie made the process take may be what was in want. Only a file that nobody but the
/// administrator, the user and the owner of this code could have put there is loaded.
const SondexVideoModule* videoModule();

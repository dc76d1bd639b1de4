#pragma once

#include "probe/DecoderInterface.h"

/// Decodes the pictures that are wished for, each from the key picture ahead of it, and hands them
/// over as the wish says (SondexVideoModule::capture).
SondexVideoOutcome capture(const SondexVideoSource* source, const SondexFrameWish* wish,
                           const SondexFrameTaker* taker, SondexVideoFacts* facts);

#pragma once

#include <string>

#include "sondex/Movie.h"

namespace sondex::inside {

/// Sets what is given, in the bytes of a TIFF structure or of a maker note's box from the offset
/// on. Throws a WEKU::Failure when it cannot be read.
void setMakerNote(std::string& bytes, std::size_t from, const MakerNoteSettings& settings);

}  // namespace sondex::inside

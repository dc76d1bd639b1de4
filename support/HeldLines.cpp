#include "support/HeldLines.h"

namespace WEKU {

HeldLines::~HeldLines() {
    release();
}

void HeldLines::write(std::string_view bytes) {
    hold(false, bytes);
}

void HeldLines::warn(std::string_view line) {
    hold(true, line);
}

bool HeldLines::drop() {
    if (left) return false;
    pieces.clear();
    held = 0;
    return true;
}

void HeldLines::hold(bool isWarning, std::string_view text) {
    if (!isWarning && !pieces.empty() && !pieces.back().isWarning) {
        pieces.back().text += text;
    } else {
        pieces.push_back({isWarning, std::string(text)});
    }
    held += text.size();
    if (held < most) return;
    release();
    left = true;
}

void HeldLines::release() {
    for (const Piece& piece : pieces) {
        if (piece.isWarning) {
            before.warn(piece.text);
        } else {
            before.write(piece.text);
        }
    }
    pieces.clear();
    held = 0;
}

}  // namespace WEKU

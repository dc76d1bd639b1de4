#include "mp4/SampleTableBoxes.h"

#include <algorithm>

#include "support/Console.h"
#include "support/Endian.h"

namespace MP4 {

using WEKU::loadBig;
using WEKU::Console::out;

namespace {

/// Reads `count` rows of `width` bytes into `rows`, then adds the zero rows of those that the
/// file does not hold, as far as the budget goes.
template <class Row, class Decode>
void readRows(BinFile& file, std::uint64_t width, std::uint32_t count, std::vector<Row>& rows,
              Decode decode) {
    // To the exact size: what grows step by step takes up to three times as much on the way.
    const std::uint64_t ahead = file.rowsAhead(width, count);
    rows.reserve(ahead + std::min(count - ahead, file.budget.rowsBeyondFile));
    const std::uint64_t held =
        file.takeRows(width, count, [&](const unsigned char* bytes, std::uint64_t n) {
            const std::size_t before = rows.size();
            rows.resize(before + n);
            for (std::uint64_t i = 0; i < n; ++i)
                rows[before + i] = decode(bytes + i * width);
        });
    rows.resize(held + ParseBudget::draw(file.budget.rowsBeyondFile, count - held));
}

}  // namespace

void STSZ::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    sampleSize = file.take32();
    sampleCount = file.take32();
    if (sampleSize != 0) {
        sampleTotal = sampleSize * sampleCount;
        return;
    }
    readRows(file, 4, sampleCount, sampleSizes, loadBig<std::uint32_t>);
    for (const std::uint32_t bytes : sampleSizes)
        sampleTotal += bytes;
}

void STSZ::dump() const {
    out(L"MP4: %ls<%ls sampleSize=%d sample_count=%d sample_total=%llu >\n", indentation().c_str(),
        basicTag().c_str(), static_cast<int>(sampleSize), static_cast<int>(sampleCount),
        static_cast<unsigned long long>(sampleTotal));
}

void STTS::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    entryCount = file.take32();
    readRows(file, 8, entryCount, entries, [](const unsigned char* row) {
        return Entry{loadBig<std::uint32_t>(row), loadBig<std::uint32_t>(row + 4)};
    });
}

void STTS::dump() const {
    out(L"MP4: %ls<%ls entryCount=%d >\n", indentation().c_str(), basicTag().c_str(),
        static_cast<int>(entryCount));
}

void STSC::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    entryCount = file.take32();
    readRows(file, 12, entryCount, entries, [](const unsigned char* row) {
        return Entry{loadBig<std::uint32_t>(row), loadBig<std::uint32_t>(row + 4),
                     loadBig<std::uint32_t>(row + 8)};
    });
}

void STSC::dump() const {
    out(L"MP4: %ls<%ls entryCount=%d >\n", indentation().c_str(), basicTag().c_str(),
        static_cast<int>(entryCount));
}

void STCO::parseBox(BinFile& file, std::uint64_t end) {
    parsePrefix(file, end);
    entryCount = file.take32();
    entriesOffset = file.tell();
}

void STCO::dump() const {
    out(L"MP4: %ls<%ls indexes=%u >\n", indentation().c_str(), basicTag().c_str(), entryCount);
}

}  // namespace MP4

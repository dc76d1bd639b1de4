#include "mp4/SampleTable.h"

#include <algorithm>
#include <numeric>

#include "mp4/HeaderBoxes.h"
#include "support/Endian.h"
#include "support/Failure.h"
#include "support/Truncate.h"

namespace MP4 {
namespace {

using WEKU::Failure;

std::uint32_t word(const unsigned char* bytes) {
    return WEKU::loadBig<std::uint32_t>(bytes);
}

/// The tables of one track, read where they stand.
class TableReader {
  public:
    TableReader(const NestedBox& table, BinFile& file) : table(table), file(file) {}

    const BOX* box(const char* name) const { return table.first(name); }

    const BOX& needed(const char* name) const {
        const BOX* found = box(name);
        if (found == nullptr) throw Failure{"a sample table is missing"};
        return *found;
    }

    /// Stands behind version and flags; returns the version.
    unsigned enter(const BOX& which) {
        file.moveTo(which.start + which.headerLength());
        file.limit = which.innermostEnd(file.fileLength());
        return file.take32() >> 24;
    }

    template <class Row>
    void rows(std::uint64_t width, std::uint64_t count, Row row) {
        const std::uint64_t read =
            file.takeRows(width, count, [&](const unsigned char* bytes, std::uint64_t held) {
                for (; held > 0; --held, bytes += width)
                    row(bytes);
            });
        if (read != count) throw Failure{"a sample table ends early"};
    }
    /// The rows of a table that begins with their number.
    template <class Row>
    void countedRows(const BOX& which, std::uint64_t width, Row row) {
        enter(which);
        const std::uint32_t count = file.take32();
        rows(width, count, row);
    }

    void readSizes(SampleTable& into);
    void readChunks(SampleTable& into);
    void readTimes(SampleTable& into);

  private:
    const NestedBox& table;
    BinFile& file;
};

void TableReader::readSizes(SampleTable& into) {
    const BOX* compact = box("stz2");
    enter(compact != nullptr ? *compact : needed("stsz"));
    const std::uint32_t sizeOrWidth = file.take32();
    const std::uint32_t count = file.take32();
    into.sampleCount = count;
    if (compact == nullptr) {
        into.sameSize = sizeOrWidth;
        if (sizeOrWidth != 0) return;
        rows(4, count, [&](const unsigned char* bytes) { into.sizes.push_back(word(bytes)); });
        return;
    }
    switch (sizeOrWidth & 0xFF) {
        case 16:
            return rows(2, count, [&](const unsigned char* bytes) {
                into.sizes.push_back(WEKU::loadBig<std::uint16_t>(bytes));
            });
        case 8:
            return rows(1, count,
                        [&](const unsigned char* bytes) { into.sizes.push_back(*bytes); });
        case 4:
            rows(1, (std::uint64_t{count} + 1) / 2, [&](const unsigned char* bytes) {
                into.sizes.push_back(*bytes >> 4);
                into.sizes.push_back(*bytes & 15U);
            });
            into.sizes.resize(count);
            return;
        default:
            throw Failure{"a table of compact sample sizes has fields of another width"};
    }
}

void TableReader::readChunks(SampleTable& into) {
    const BOX* wide = box("co64");
    const auto add = [&](std::uint64_t offset) { into.chunks.push_back({offset, 0, 0, 0}); };
    if (wide != nullptr) {
        countedRows(*wide, 8,
                    [&](const unsigned char* bytes) { add(WEKU::loadBig<std::uint64_t>(bytes)); });
    } else {
        countedRows(needed("stco"), 4, [&](const unsigned char* bytes) { add(word(bytes)); });
    }
    struct Rule {
        std::uint32_t firstChunk, samples, description;
    };
    std::vector<Rule> rules;
    countedRows(needed("stsc"), 12, [&](const unsigned char* bytes) {
        rules.push_back({word(bytes), word(bytes + 4), word(bytes + 8)});
    });
    std::uint64_t sample = 0;
    std::size_t rule = 0;
    for (std::size_t i = 0; i < into.chunks.size(); ++i) {
        while (rule + 1 < rules.size() && rules[rule + 1].firstChunk <= i + 1)
            ++rule;
        if (rules.empty() || rules[rule].firstChunk > i + 1) {
            throw Failure{"a chunk has no number of samples"};
        }
        SampleTable::Chunk& chunk = into.chunks[i];
        chunk.firstSample = sample;
        chunk.samples = rules[rule].samples;
        chunk.description = rules[rule].description;
        sample += chunk.samples;
    }
    if (sample != into.sampleCount) throw Failure{"the chunks hold another number of samples"};
}

void TableReader::readTimes(SampleTable& into) {
    const auto total = [](const std::vector<SampleTable::Run>& runs) {
        std::uint64_t sum = 0;
        for (const SampleTable::Run& run : runs)
            sum += run.samples;
        return sum;
    };
    countedRows(needed("stts"), 8, [&](const unsigned char* bytes) {
        into.durations.push_back({word(bytes), word(bytes + 4)});
    });
    if (total(into.durations) != into.sampleCount) {
        throw Failure{"the decoding times are those of another number of samples"};
    }
    if (const BOX* shifts = box("ctts")) {
        // Version 0 has no negative numbers by its letter; writers use them all the same.
        countedRows(*shifts, 8, [&](const unsigned char* bytes) {
            into.shifts.push_back({word(bytes), static_cast<std::int32_t>(word(bytes + 4))});
        });
        if (total(into.shifts) != into.sampleCount) {
            throw Failure{"the composition times are those of another number of samples"};
        }
    }
    if (const BOX* sync = box("stss")) {
        into.everySampleIsSync = false;
        countedRows(*sync, 4, [&](const unsigned char* bytes) {
            if (word(bytes) > 0 && word(bytes) <= into.sampleCount) {
                into.syncSamples.push_back(word(bytes) - 1);
            }
        });
    }
}

}  // namespace

std::vector<SampleTable::Edit> SampleTable::editsOf(const NestedBox& track, BinFile& file) {
    std::vector<Edit> listed;
    const BOX* found = track.first("edts");
    if (found == nullptr) return listed;
    NestedBox edits(*found, found->parent);
    file.moveTo(found->start + found->headerLength());
    file.budget = ParseBudget::forFile(file.fileLength());
    edits.parseBox(file, file.fileLength());
    file.budget = {};
    const BOX* list = edits.first("elst");
    if (list == nullptr) return listed;
    TableReader reader(edits, file);
    const bool wide = reader.enter(*list) == 1;
    reader.rows(wide ? 20 : 12, file.take32(), [&](const unsigned char* bytes) {
        if (wide) {
            listed.push_back({WEKU::loadBig<std::uint64_t>(bytes),
                              static_cast<std::int64_t>(WEKU::loadBig<std::uint64_t>(bytes + 8))});
        } else {
            listed.push_back({word(bytes), static_cast<std::int32_t>(word(bytes + 4))});
        }
    });
    file.limit = UINT64_MAX;
    return listed;
}

namespace {

/// Every chunk lies in the file, and no byte belongs to so many samples that reading them all
/// would take more than the file's length.
void checkBytes(const SampleTable& table) {
    std::uint64_t all = 0;
    for (const SampleTable::Chunk& chunk : table.chunks) {
        std::uint64_t bytes = 0;
        if (table.sameSize != 0) {
            bytes = std::uint64_t{chunk.samples} * table.sameSize;
        } else {
            for (std::uint64_t i = 0; i < chunk.samples; ++i)
                bytes += table.sizes[chunk.firstSample + i];
        }
        if (chunk.offset > table.fileLength || bytes > table.fileLength - chunk.offset) {
            throw Failure{"samples lie behind the end of the file"};
        }
        all += bytes;
        if (all > table.fileLength) throw Failure{"samples lie one over the other"};
    }
}

}  // namespace

SampleTable SampleTable::read(const Container& movie, const NestedBox& track, BinFile& file) {
    const auto* stbl = track.first<NestedBox>("mdia.minf.stbl");
    const auto* media = track.first<MDHD>("mdia.mdhd");
    const auto* header = movie.first<MVHD>("moov.mvhd");
    if (movie.first("moof") != nullptr || movie.first("moov.mvex") != nullptr) {
        throw Failure{"the movie is fragmented"};
    }
    if (stbl == nullptr || media == nullptr || header == nullptr) {
        throw Failure{"the track has no sample tables"};
    }
    SampleTable table;
    table.fileLength = file.fileLength();
    table.timeScale = media->timeScale;
    table.movieTimeScale = static_cast<std::uint32_t>(WEKU::truncateToUint64(header->timeScale));
    if (table.timeScale == 0 || table.movieTimeScale == 0) {
        throw Failure{"the track has no time scale"};
    }
    file.budget = {};
    TableReader reader(*stbl, file);
    reader.readSizes(table);
    reader.readChunks(table);
    reader.readTimes(table);
    table.edits = editsOf(track, file);
    checkBytes(table);
    file.limit = UINT64_MAX;
    return table;
}

std::vector<SampleTable::Sample> SampleTable::samples() const {
    // Sizes that are listed cost the file four bytes each; without a list, nothing bounds them.
    if (sameSize != 0 && sampleCount > fileLength / 4 + 65536) {
        throw Failure{"the samples are too many to be listed"};
    }
    std::vector<Sample> all;
    all.reserve(sampleCount);
    for (const Chunk& chunk : chunks) {
        std::uint64_t offset = chunk.offset;
        for (std::uint64_t i = 0; i < chunk.samples; ++i) {
            const std::uint32_t size = sizeOf(chunk.firstSample + i);
            all.push_back({offset, 0, size, 0});
            offset += size;
        }
    }
    std::size_t next = 0;
    std::uint64_t time = 0;
    for (const Run& run : durations) {
        for (std::uint32_t i = 0; i < run.samples; ++i) {
            all[next++].decodeTime = time;
            time += static_cast<std::uint64_t>(run.value);
        }
    }
    next = 0;
    for (const Run& run : shifts) {
        for (std::uint32_t i = 0; i < run.samples; ++i)
            all[next++].shift = static_cast<std::int32_t>(run.value);
    }
    return all;
}

std::uint64_t SampleTable::decodeTimeOf(std::uint64_t count) const {
    std::uint64_t time = 0;
    for (const Run& run : durations) {
        const std::uint64_t taken = std::min<std::uint64_t>(count, run.samples);
        time += taken * static_cast<std::uint64_t>(run.value);
        count -= taken;
    }
    return time;
}

std::int64_t SampleTable::shownFirst() const {
    for (const Edit& edit : edits) {
        if (edit.mediaTime != Edit::nothing) return edit.mediaTime;
    }
    return 0;
}

double SampleTable::startsAfter() const {
    double seconds = 0;
    for (const Edit& edit : edits) {
        if (edit.mediaTime != Edit::nothing) break;
        seconds += static_cast<double>(edit.duration) / movieTimeScale;
    }
    return seconds;
}

std::vector<std::uint32_t> shownOrder(const std::vector<SampleTable::Sample>& samples) {
    std::vector<std::uint32_t> order(samples.size());
    std::iota(order.begin(), order.end(), 0U);
    std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        return samples[a].shownAt() < samples[b].shownAt();
    });
    return order;
}

}  // namespace MP4

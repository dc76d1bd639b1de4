#include "builder/SpatialAudio.h"

#include <algorithm>
#include <cmath>

#include "builder/Refusal.h"
#include "mp4/HeaderBoxes.h"
#include "mp4/LocationBoxes.h"
#include "support/Endian.h"
#include "support/Failure.h"
#include "support/Truncate.h"

namespace {

using MP4::fourCC;
using MP4::FourCC;

template <class T>
std::string big(std::uint64_t value) {
    std::string bytes(sizeof(T), '\0');
    WEKU::storeBig<T>(bytes.data(), static_cast<T>(value));
    return bytes;
}
constexpr auto u32 = big<std::uint32_t>;
constexpr auto u64 = big<std::uint64_t>;

/// A box with version and flags 0, then the number of rows and the rows.
std::string table(FourCC type, std::uint64_t rows, const std::string& bytes) {
    return MP4::boxOf(type, u32(0) + u32(rows) + bytes);
}

std::string bytesOf(const MP4::Container& movie, const MP4::BOX& box) {
    std::string bytes;
    movie.open([&](WEKU::FileIO& file) {
        bytes.resize(box.innermostEnd(movie.root->size()) - box.start);
        bytes.resize(
            file.readAt(box.start, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()));
    });
    if (bytes.size() < box.size()) throw Refusal{"the spatial sound's track is cut off"};
    return bytes;
}

/// A header box with another duration, which stands where its version says.
std::string withDuration(std::string bytes, std::size_t short0, std::size_t long1,
                         std::uint64_t duration) {
    const bool wide = bytes.size() > 8 && bytes[8] == 1;
    const std::size_t at = wide ? long1 : short0, width = wide ? 8 : 4;
    if (bytes.size() < at + width) throw Refusal{"the spatial sound's track is cut off"};
    if (!wide && duration > UINT32_MAX) throw Refusal{"the spatial sound is too long"};
    return bytes.replace(at, width, wide ? u64(duration) : u32(duration));
}

std::uint64_t inUnits(double seconds, std::uint32_t timeScale) {
    return WEKU::truncateToUint64(seconds * timeScale + 0.5);
}

void appendRun(std::vector<MP4::SampleTable::Run>& runs, std::uint64_t samples,
               std::int64_t value) {
    if (samples == 0) return;
    if (!runs.empty() && runs.back().value == value &&
        samples <= UINT32_MAX - runs.back().samples) {
        runs.back().samples += static_cast<std::uint32_t>(samples);
    } else {
        runs.push_back({static_cast<std::uint32_t>(samples), value});
    }
}

/// How many samples begin before the media time.
std::uint64_t samplesBefore(const MP4::SampleTable& table, std::uint64_t time) {
    std::uint64_t count = 0, start = 0;
    for (const auto& run : table.durations) {
        const auto each = static_cast<std::uint64_t>(run.value);
        const std::uint64_t length = each * run.samples;
        if (start + length >= time) {
            const std::uint64_t within = time > start ? time - start : 0;
            return count + (each == 0 ? 0 : (within + each - 1) / each);
        }
        start += length;
        count += run.samples;
    }
    return count;
}

}  // namespace

std::optional<SpatialAudio> SpatialAudio::cut(const MP4::Container& movie, double from,
                                              double seconds) {
    const auto* track = movie.first<MP4::NestedBox>("uuid.KATR");
    // No camera records for thirty years; beyond, the arithmetic below would not hold.
    constexpr double longest = 1e9;
    if (track == nullptr || !(seconds > 0 && seconds < longest && std::fabs(from) < longest))
        return {};
    SpatialAudio sound;
    sound.origin = &movie;
    sound.track = track;
    Table source;
    try {
        movie.open([&](WEKU::FileIO& opened) {
            MP4::BinFile file(opened);
            source = Table::read(movie, *track, file);
        });
    } catch (WEKU::Failure message) {
        throw Refusal{std::string("the spatial sound cannot be read: ") + message};
    }
    const MP4::BOX* stsd = track->first("mdia.minf.stbl.stsd");
    if (stsd == nullptr || !source.shifts.empty()) {
        throw Refusal{"the spatial sound is coded in a way that cannot be cut"};
    }
    sound.descriptions = bytesOf(movie, *stsd);
    sound.timeScale = source.timeScale;
    sound.sameSize = source.sameSize;

    from -= source.startsAfter();
    if (from < 0) {
        const double silent = std::min(-from, seconds);
        sound.shown.push_back({silent, Table::Edit::nothing});
        seconds -= silent;
        from = 0;
    }
    const std::uint64_t whole = source.decodeTimeOf(source.sampleCount);
    const auto skipped = static_cast<std::uint64_t>(std::max<std::int64_t>(source.shownFirst(), 0));
    if (skipped >= whole) return {};
    const std::uint64_t begin = skipped + inUnits(from, source.timeScale);
    const std::uint64_t end = std::min(whole, begin + inUnits(seconds, source.timeScale));
    if (begin >= end) return {};
    // The sample that sounds at the beginning is the last that does not begin later.
    const std::uint64_t first = samplesBefore(source, begin + 1) - 1;
    const std::uint64_t last = samplesBefore(source, end);
    sound.shown.push_back({static_cast<double>(end - begin) / source.timeScale,
                           static_cast<std::int64_t>(begin - source.decodeTimeOf(first))});
    sound.take(movie, source, first, last);
    return sound;
}

void SpatialAudio::take(const MP4::Container& movie, const Table& source, std::uint64_t begin,
                        std::uint64_t end) {
    samples = end - begin;
    if (sameSize == 0) {
        sizes.assign(source.sizes.begin() + static_cast<std::ptrdiff_t>(begin),
                     source.sizes.begin() + static_cast<std::ptrdiff_t>(end));
    }
    const auto bytes = [&](std::uint64_t from, std::uint64_t to) {
        if (sameSize != 0) return (to - from) * sameSize;
        std::uint64_t sum = 0;
        for (; from < to; ++from)
            sum += source.sizes[from];
        return sum;
    };
    for (const Table::Chunk& chunk : source.chunks) {
        const std::uint64_t from = std::max(begin, chunk.firstSample);
        const std::uint64_t to = std::min(end, chunk.firstSample + chunk.samples);
        if (from >= to) continue;
        pieces.push_back({&movie, chunk.offset + bytes(chunk.firstSample, from), bytes(from, to),
                          static_cast<std::uint32_t>(to - from), chunk.description});
    }
    std::uint64_t sample = 0;
    for (const Table::Run& run : source.durations) {
        const std::uint64_t from = std::max(begin, sample);
        sample += run.samples;
        const std::uint64_t to = std::min(end, sample);
        if (from < to) appendRun(durations, to - from, run.value);
    }
}

void SpatialAudio::join(const SpatialAudio& next) {
    if (next.descriptions != descriptions || next.timeScale != timeScale ||
        next.sameSize != sameSize) {
        throw Refusal{"the sources' spatial sound is not coded alike"};
    }
    const auto before = static_cast<std::int64_t>(mediaTime());
    for (const Shown& more : next.shown) {
        const bool silent = more.mediaTime == Table::Edit::nothing;
        const std::int64_t start = silent ? more.mediaTime : before + more.mediaTime;
        const double heard =
            shown.back().mediaTime == Table::Edit::nothing
                ? -1
                : static_cast<double>(shown.back().mediaTime) + shown.back().seconds * timeScale;
        if (!silent && std::fabs(heard - static_cast<double>(start)) < 0.5) {
            shown.back().seconds += more.seconds;
        } else {
            shown.push_back({more.seconds, start});
        }
    }
    pieces.insert(pieces.end(), next.pieces.begin(), next.pieces.end());
    sizes.insert(sizes.end(), next.sizes.begin(), next.sizes.end());
    samples += next.samples;
    for (const Table::Run& run : next.durations)
        appendRun(durations, run.samples, run.value);
}

double SpatialAudio::seconds() const {
    double all = 0;
    for (const Shown& each : shown) {
        if (each.mediaTime != Table::Edit::nothing) all += each.seconds;
    }
    return all;
}

std::uint64_t SpatialAudio::mediaTime() const {
    std::uint64_t time = 0;
    for (const Table::Run& run : durations)
        time += run.samples * static_cast<std::uint64_t>(run.value);
    return time;
}

std::uint64_t SpatialAudio::mediaBytes() const {
    std::uint64_t bytes = 0;
    for (const Piece& piece : pieces)
        bytes += piece.bytes;
    return bytes;
}

bool SpatialAudio::writeMedia(WEKU::FileIO& file, std::uint64_t& firstSample) const {
    const std::uint64_t bytes = mediaBytes();
    std::string header = MP4::boxOf(MP4::MDAT::code, "");
    if (bytes + header.size() > UINT32_MAX) {
        header = u32(1) + header.substr(4) + u64(bytes + 16);
    } else {
        header.replace(0, 4, u32(bytes + 8));
    }
    if (!file.writeAll(reinterpret_cast<const unsigned char*>(header.data()), header.size())) {
        return false;
    }
    firstSample = file.tell();
    for (std::size_t next = 0; next < pieces.size();) {
        bool copied = true;
        // cppcheck-suppress containerOutOfBounds  // the inner loop's condition is not this one's
        const MP4::Container* movie = pieces[next].movie;
        const bool opened = movie->open([&](WEKU::FileIO& source) {
            for (; copied && next < pieces.size() && pieces[next].movie == movie; ++next) {
                copied = source.seek_set(pieces[next].offset) &&
                         source.copyAll(file, pieces[next].bytes) && !source.sawShortRead();
            }
        });
        if (!opened || !copied) return false;
    }
    return true;
}

std::string SpatialAudio::editList(std::uint32_t movieTimeScale) const {
    if (shown.size() == 1 && shown.front().mediaTime == 0) return {};
    std::string rows;
    for (const Shown& each : shown) {
        rows += u64(inUnits(each.seconds, movieTimeScale)) +
                u64(static_cast<std::uint64_t>(each.mediaTime)) + u32(0x10000);
    }
    return MP4::boxOf(fourCC("edts"),
                      MP4::boxOf(fourCC("elst"), u32(1U << 24) + u32(shown.size()) + rows));
}

std::string SpatialAudio::tables(std::uint64_t firstSample) const {
    std::string stts, stsc, stsz, offsets;
    for (const Table::Run& run : durations)
        stts += u32(run.samples) + u32(static_cast<std::uint64_t>(run.value));
    const bool wide = firstSample + mediaBytes() > UINT32_MAX;
    std::uint64_t offset = firstSample, rules = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const Piece& piece = pieces[i];
        offsets += wide ? u64(offset) : u32(offset);
        offset += piece.bytes;
        if (i > 0 && pieces[i - 1].samples == piece.samples &&
            pieces[i - 1].description == piece.description) {
            continue;
        }
        stsc += u32(i + 1) + u32(piece.samples) + u32(piece.description);
        ++rules;
    }
    for (const std::uint32_t size : sizes)
        stsz += u32(size);
    return table(fourCC("stts"), durations.size(), stts) + table(fourCC("stsc"), rules, stsc) +
           MP4::boxOf(fourCC("stsz"), u32(0) + u32(sameSize) + u32(samples) + stsz) +
           table(wide ? fourCC("co64") : fourCC("stco"), pieces.size(), offsets);
}

/// The box with its own children, less those that tell of the old samples.
std::string SpatialAudio::rebuilt(const MP4::NestedBox& box, std::uint64_t firstSample,
                                  std::uint32_t movieTimeScale) const {
    double all = 0;
    for (const Shown& each : shown)
        all += each.seconds;
    std::string payload;
    if (box.type == fourCC("stbl")) {
        payload = descriptions + tables(firstSample);
    } else {
        for (const auto& child : box.children) {
            if (child->type == fourCC("tkhd")) {
                payload +=
                    withDuration(bytesOf(*origin, *child), 28, 36, inUnits(all, movieTimeScale)) +
                    editList(movieTimeScale);
            } else if (child->type == fourCC("mdhd")) {
                payload += withDuration(bytesOf(*origin, *child), 24, 32, mediaTime());
            } else if (child->type == fourCC("mdia") || child->type == fourCC("minf") ||
                       child->type == fourCC("stbl")) {
                payload += rebuilt(static_cast<const MP4::NestedBox&>(*child), firstSample,
                                   movieTimeScale);
            } else if (child->type != fourCC("edts")) {
                payload += bytesOf(*origin, *child);
            }
        }
    }
    return MP4::boxOf(box.type, payload);
}

std::string SpatialAudio::box(std::uint64_t firstSample, std::uint32_t movieTimeScale) const {
    const std::string type(MP4::spatialDataType.begin(), MP4::spatialDataType.end());
    return MP4::boxOf(MP4::UUID::code, type + rebuilt(*track, firstSample, movieTimeScale));
}

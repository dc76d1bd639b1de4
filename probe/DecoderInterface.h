#pragma once

#include <cstdint>

/// What the program and the loadable video module agree on. The module is a file of its own so
/// that only runs that decode pay for loading FFmpeg; the two may come from different builds,
/// hence plain C types, an interface number, and nothing that throws or is owned by the other.
extern "C" {

/// To be raised with every change below.
constexpr std::uint32_t sondexVideoInterface = 3;

/// A movie's bytes.
struct SondexVideoSource {
    std::uint64_t length;
    /// Reads at most `count` bytes at `offset` and returns how many it got.
    std::uint64_t (*readAt)(const void* context, std::uint64_t offset, unsigned char* bytes,
                            std::uint64_t count);
    const void* context;
};

enum SondexVideoOutcome : std::int32_t {
    sondexVideoDescribed = 0,
    sondexVideoUnreadable = 1,
    sondexVideoNoTrack = 2,
};

/// Why no picture was decoded, or the movie not read.
enum SondexVideoRefusal : std::int32_t {
    sondexVideoNotRefused = 0,
    /// More pixels than `sondexVideoMostPixels`.
    sondexVideoTooLarge = 1,
    /// `codec` is none of those that are decoded.
    sondexVideoForeignCodec = 2,
    /// More memory or processor time than a movie of this length is given.
    sondexVideoTooCostly = 3,
    /// The movie ends ahead of the picture that was asked for.
    sondexVideoPastEnd = 4,
    /// The picture that was asked for does not decode.
    sondexVideoUndecodable = 5,
    /// The picture decodes, but cannot be scaled or encoded.
    sondexVideoUnwritable = 6,
    /// Who was given a picture wants no more.
    sondexVideoStopped = 7,
};

struct SondexVideoFacts {
    /// Size of the first picture in pixels; left alone when none was decoded.
    double width;
    double height;
    float nominalFrameRate;
    SondexVideoRefusal refusal;
    /// The codec's name, a text that lives as long as the module; left alone without a track.
    const char* codec;
};

/// Which pictures are to be captured. They count from 0 in the order in which they are shown.
enum SondexFrameChoice : std::int32_t {
    /// The first that decodes.
    sondexFrameFirst = 0,
    sondexFrameNumber = 1,
    /// The one that is shown `seconds` behind the first.
    sondexFrameTime = 2,
    /// The first, and those that are shown each `seconds` behind it; none twice.
    sondexFrameEvery = 3,
};

enum SondexFrameFormat : std::int32_t {
    /// Three bytes a pixel: red, green, blue.
    sondexFrameRgb = 0,
    sondexFrameJpeg = 1,
    sondexFramePng = 2,
};

struct SondexFrameWish {
    SondexFrameChoice choice;
    SondexFrameFormat format;
    std::uint64_t number;
    double seconds;
    /// The media time, in the track's units, that the edit list shows first; pictures ahead of it
    /// are not counted. INT64_MIN without such a list.
    std::int64_t shownFirst;
    /// The index lies in fragments behind the movie box.
    bool isFragmented;
    /// Of the picture as it is shown, in pixels; 0: as it is coded.
    std::uint32_t width;
    /// Of a JPEG, 1 to 100.
    std::uint32_t quality;
    /// So many pictures are scaled and encoded at a time.
    std::uint32_t threads;
};

/// One captured picture, which lives as long as the call that hands it over.
struct SondexFrame {
    std::uint64_t number;
    /// The same, pictures ahead of what the edit list shows counted.
    std::uint64_t storedNumber;
    /// Behind the first picture.
    double seconds;
    std::uint32_t width;
    std::uint32_t height;
    /// Bytes from one row to the next; 0 of an encoded picture.
    std::uint64_t stride;
    const unsigned char* bytes;
    std::uint64_t length;
};

struct SondexFrameTaker {
    /// Takes the pictures in their order on the calling thread; false: no more are wanted.
    bool (*take)(const void* context, const SondexFrame* frame);
    const void* context;
};

constexpr std::int64_t sondexVideoMostPixels = std::int64_t{16384} * 8192;

/// What the module exports, under the name that `sondexVideoModuleSymbol` gives.
struct SondexVideoModule {
    std::uint32_t interfaceNumber;
    SondexVideoOutcome (*describe)(const SondexVideoSource* source, SondexVideoFacts* facts);
    /// Writes the reason why not all was captured, and the codec, to `facts`.
    SondexVideoOutcome (*capture)(const SondexVideoSource* source, const SondexFrameWish* wish,
                                  const SondexFrameTaker* taker, SondexVideoFacts* facts);
};

}  // extern "C"

inline constexpr char sondexVideoModuleSymbol[] = "sondexVideoModule";

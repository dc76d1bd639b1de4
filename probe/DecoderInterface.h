#pragma once

#include <cstdint>

/// What the program and the loadable video module agree on. The module is a file of its own so
/// that only runs that decode pay for loading FFmpeg; the two may come from different builds,
/// hence plain C types, an interface number, and nothing that throws or is owned by the other.
extern "C" {

/// To be raised with every change below.
constexpr std::uint32_t sondexVideoInterface = 2;

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

constexpr std::int64_t sondexVideoMostPixels = std::int64_t{16384} * 8192;

/// What the module exports, under the name that `sondexVideoModuleSymbol` gives.
struct SondexVideoModule {
    std::uint32_t interfaceNumber;
    SondexVideoOutcome (*describe)(const SondexVideoSource* source, SondexVideoFacts* facts);
};

}  // extern "C"

inline constexpr char sondexVideoModuleSymbol[] = "sondexVideoModule";

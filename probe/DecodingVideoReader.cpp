#include "mp4/SampleTable.h"
#include "probe/DecoderLoader.h"
#include "probe/MovieView.h"
#include "probe/VideoReader.h"
#include "support/Console.h"
#include "support/Failure.h"
#include "support/WideText.h"

namespace {

std::uint64_t readView(const void* context, std::uint64_t offset, unsigned char* bytes,
                       std::uint64_t count) {
    return static_cast<const MovieView*>(context)->readAt(offset, bytes, count);
}

using Trouble = VideoFacts::Trouble;

Trouble troubleOf(SondexVideoOutcome outcome, const SondexVideoFacts& found) {
    if (outcome == sondexVideoNoTrack) return Trouble::noTrack;
    switch (found.refusal) {
        case sondexVideoTooLarge:
            return Trouble::tooLarge;
        case sondexVideoForeignCodec:
            return Trouble::foreignCodec;
        case sondexVideoTooCostly:
            return Trouble::tooCostly;
        case sondexVideoPastEnd:
            return Trouble::pastEnd;
        case sondexVideoUndecodable:
            return Trouble::undecodable;
        case sondexVideoUnwritable:
            return Trouble::unwritable;
        case sondexVideoStopped:
            return Trouble::stopped;
        default:
            if (outcome == sondexVideoUnreadable) return Trouble::unreadable;
            return Trouble::none;
    }
}

/// The media time that the track's edit list shows first; one that is damaged hides nothing.
std::int64_t shownFirst(const MP4::Container& movie) {
    MP4::SampleTable table;
    if (movie.videoTrack == nullptr) return INT64_MIN;
    movie.open([&](WEKU::FileIO& file) {
        MP4::BinFile reader(file);
        try {
            table.edits = MP4::SampleTable::editsOf(*movie.videoTrack, reader);
        } catch (WEKU::Failure) {
        }
    });
    return table.edits.empty() ? INT64_MIN : table.shownFirst();
}

void warnOf(Trouble trouble, const SondexVideoFacts& found, const WEKU::FileIO& file) {
    if (trouble == Trouble::none || trouble == Trouble::undecodable) return;
    const std::string name = WEKU::wchar::narrow(file.name());
    switch (trouble) {
        case Trouble::noTrack:
            return WEKU::Console::warn("describeSource: No video tracks found - %s", name.c_str());
        case Trouble::tooLarge:
            return WEKU::Console::warn("pictures above %lld pixels are not decoded - %s",
                                       static_cast<long long>(sondexVideoMostPixels), name.c_str());
        case Trouble::foreignCodec:
            return WEKU::Console::warn("pictures of the codec %s are not decoded - %s", found.codec,
                                       name.c_str());
        case Trouble::tooCostly:
            return WEKU::Console::warn(
                "takes more time or memory than a movie of its length should - %s", name.c_str());
        case Trouble::unreadable:
            return WEKU::Console::warn("no MP4 or MOV movie - %s", name.c_str());
        default:
            return;
    }
}

}  // namespace

bool VideoReader::describeSource(const MP4::Container& movie, const WEKU::FileIO& file,
                                 VideoFacts& facts) {
    facts.trouble = Trouble::noDecoder;
    const SondexVideoModule* const module = videoModule();
    if (module == nullptr) return false;

    const MovieView view(movie, file);
    const SondexVideoSource source{view.length(), readView, &view};
    SondexVideoFacts found{facts.width, facts.height, facts.nominalFrameRate, sondexVideoNotRefused,
                           ""};
    const SondexVideoOutcome outcome = module->describe(&source, &found);
    facts = {found.width, found.height, found.nominalFrameRate};
    facts.trouble = troubleOf(outcome, found);
    warnOf(facts.trouble, found, file);
    return outcome == sondexVideoDescribed;
}

VideoFacts::Trouble VideoReader::capture(const MP4::Container& movie, const WEKU::FileIO& file,
                                         SondexFrameWish wish,
                                         const std::function<bool(const SondexFrame&)>& take) {
    const SondexVideoModule* const module = videoModule();
    if (module == nullptr) return Trouble::noDecoder;
    const MovieView view(movie, file);
    const SondexVideoSource source{view.length(), readView, &view};
    wish.shownFirst = shownFirst(movie);
    wish.isFragmented = movie.first("moof") != nullptr;
    const auto hand = [](const void* taker, const SondexFrame* frame) {
        return (*static_cast<const std::function<bool(const SondexFrame&)>*>(taker))(*frame);
    };
    const SondexFrameTaker taker{hand, &take};
    SondexVideoFacts found{-1, -1, 0, sondexVideoNotRefused, ""};
    const SondexVideoOutcome outcome = module->capture(&source, &wish, &taker, &found);
    const Trouble trouble = troubleOf(outcome, found);
    warnOf(trouble, found, file);
    return trouble;
}

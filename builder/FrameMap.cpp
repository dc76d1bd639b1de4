#include "builder/FrameMap.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "builder/Refusal.h"
#include "support/TextFormat.h"

namespace {

std::string number(std::size_t value) {
    return std::to_string(value);
}

std::string seconds(double value) {
    return WEKU::formatText("%.3f s", value);
}

std::string rate(const VideoSamples& movie) {
    return WEKU::formatText("%.3f", 1 / movie.frameSeconds());
}

/// The sample that is shown nearest to the second.
std::uint32_t sampleAt(const VideoSamples& movie, double second) {
    std::uint32_t nearest = movie.shown.front();
    for (const std::uint32_t sample : movie.shown) {
        if (std::fabs(movie.secondsOf(sample) - second) <
            std::fabs(movie.secondsOf(nearest) - second)) {
            nearest = sample;
        }
    }
    return nearest;
}

/// The samples of all sources as one list, one behind the other.
class Chapters {
  public:
    Chapters(const std::vector<VideoSamples>& sources, VideoSamples::Content content)
        : sources(sources) {
        for (const VideoSamples& source : sources) {
            begins.push_back(all.sizes.size());
            const auto own = source.sequence(content);
            comparable = comparable && own;
            if (!own) return;
            all.sizes.insert(all.sizes.end(), own->sizes.begin(), own->sizes.end());
            hashes.push_back(own->hash);
        }
        all.hash = [this](std::size_t sample) {
            const std::size_t chapter = chapterOf(sample);
            return hashes[chapter](sample - begins[chapter]);
        };
    }

    std::size_t chapterOf(std::size_t sample) const {
        const auto next = std::upper_bound(begins.begin(), begins.end(), sample);
        return static_cast<std::size_t>(next - begins.begin()) - 1;
    }

    const std::vector<VideoSamples>& sources;
    std::vector<std::size_t> begins;
    SampleAlignment::Sequence all;
    bool comparable = true;

  private:
    std::vector<std::function<std::uint64_t(std::size_t)>> hashes;
};

/// Sorts the kept frames by source. `sourceOf` names, for each sample of the cut, that of the list
/// of all sources.
void split(FrameMap& map, const Chapters& chapters, const VideoSamples& cut,
           const std::vector<std::uint32_t>& sourceOf) {
    for (const std::uint32_t sample : cut.shown) {
        const std::size_t chapter = chapters.chapterOf(sourceOf[sample]);
        const std::size_t own = sourceOf[sample] - chapters.begins[chapter];
        const VideoSamples& source = chapters.sources[chapter];
        if (map.parts.empty() || map.parts.back().source != chapter) {
            map.parts.push_back({chapter,
                                 {},
                                 source.secondsOf(own),
                                 cut.secondsOf(sample) - cut.secondsOf(cut.shown.front())});
        }
        std::vector<std::uint32_t>& frames = map.parts.back().frames;
        const std::uint32_t frame = source.frameOf[own];
        if (!frames.empty() && frame <= frames.back()) {
            throw Refusal{"the target shows the source's frames in another order"};
        }
        frames.push_back(frame);
    }
    for (std::size_t i = 1; i < map.parts.size(); ++i) {
        if (map.parts[i].source <= map.parts[i - 1].source) {
            throw Refusal{"the target shows the sources' frames in another order"};
        }
    }
}

/// A cut whose samples are others: frame by frame from the second on.
void countOff(FrameMap& map, const VideoSamples& source, const VideoSamples& cut, double from,
              std::optional<double> to) {
    const std::uint32_t first = source.frameOf[sampleAt(source, from)];
    if (source.size() - first < cut.size()) {
        throw Refusal{"the target has " + number(cut.size()) + " frames, the source from " +
                      seconds(from) + " on only " + number(source.size() - first)};
    }
    if (to && std::fabs(*to - from - cut.seconds()) > 1.5 * source.frameSeconds()) {
        throw Refusal{"the target lasts " + seconds(cut.seconds()) + ", the range given " +
                      seconds(*to - from)};
    }
    FrameMap::Part part{0, {}, source.secondsOf(source.shown[first]), 0};
    for (std::uint32_t i = 0; i < cut.size(); ++i)
        part.frames.push_back(first + i);
    map.parts = {part};
}

[[noreturn]] void refuseAmbiguous(const Chapters& chapters,
                                  const std::vector<std::uint32_t>& places) {
    std::string text;
    for (const std::uint32_t place : places) {
        const std::size_t chapter = chapters.chapterOf(place);
        text += (text.empty() ? "" : ", ") +
                seconds(chapters.sources[chapter].secondsOf(place - chapters.begins[chapter]));
    }
    throw Refusal{"the target fits in several places of the source (" + text +
                  "); say from which second it is"};
}

}  // namespace

FrameMap FrameMap::of(const std::vector<VideoSamples>& sources, const VideoSamples& cut,
                      std::optional<double> from, std::optional<double> to) {
    const VideoSamples& first = sources.front();
    FrameMap map;
    map.frames = cut.size();
    for (const VideoSamples& source : sources)
        map.sourceFrames += source.size();
    map.hidden = cut.hidden();
    std::optional<std::uint32_t> preferred;
    if (from) preferred = sampleAt(first, *from);
    std::size_t most = 0;
    for (const By by : {By::samples, By::pictures}) {
        const auto content =
            by == By::samples ? VideoSamples::Content::samples : VideoSamples::Content::pictures;
        const Chapters chapters(sources, content);
        const auto ofCut = cut.sequence(content);
        if (!chapters.comparable || !ofCut) continue;
        const SampleAlignment::Result found =
            SampleAlignment::align(chapters.all, *ofCut, preferred);
        if (found.outcome == SampleAlignment::Outcome::ambiguous) {
            refuseAmbiguous(chapters, found.places);
        }
        if (found.outcome == SampleAlignment::Outcome::aligned) {
            map.by = by;
            split(map, chapters, cut, found.sourceOf);
            return map;
        }
        most = std::max(most, found.sourceOf.size());
    }
    const std::string what =
        number(most) + " of the target's " + number(cut.size()) + " video samples are the source's";
    for (const VideoSamples& source : sources) {
        if (std::fabs(cut.frameSeconds() / source.frameSeconds() - 1) > 0.005) {
            throw Refusal{what + ", and it shows " + rate(cut) + " frames a second, the source " +
                          rate(source)};
        }
    }
    if (from && sources.size() == 1) {
        map.by = By::seconds;
        countOff(map, first, cut, *from, to);
    } else if (!from && map.frames == map.sourceFrames) {
        map.by = By::number;
        double at = 0;
        for (std::size_t i = 0; i < sources.size(); ++i) {
            std::vector<std::uint32_t> frames(sources[i].size());
            std::iota(frames.begin(), frames.end(), 0U);
            map.parts.push_back(
                {i, std::move(frames), sources[i].secondsOf(sources[i].shown[0]), at});
            at += sources[i].seconds();
        }
    } else {
        throw Refusal{what + ", and it has " + number(map.frames) + " frames, the source " +
                      number(map.sourceFrames) +
                      (sources.size() == 1 ? "; say from which second it is" : "")};
    }
    return map;
}

std::string FrameMap::sentence() const {
    const std::string all = number(frames) + " of " + number(frames);
    std::string text;
    switch (by) {
        case By::samples:
            text = all + " video samples equal: ";
            break;
        case By::pictures:
            text = all + " coded pictures equal: ";
            break;
        case By::number:
            text = "re-encoded, as many frames as the source: ";
            break;
        case By::seconds:
            text = "frames counted from the second given: ";
            break;
    }
    for (const Part& part : parts) {
        const std::size_t spanned = part.frames.back() - part.frames.front() + 1U;
        if (parts.size() > 1) {
            text += (part.at > 0 ? ", then " : "") + ("source " + number(part.source + 1)) + " ";
        }
        text += "frames " + number(part.frames.front()) + "–" + number(part.frames.back());
        if (parts.size() == 1) text += " of " + number(sourceFrames);
        if (spanned > part.frames.size()) {
            text += " less " + number(spanned - part.frames.size());
        }
        text += ", from " + seconds(part.from);
    }
    if (hidden > 0) text += "; the edit list hides " + seconds(hidden);
    return text;
}

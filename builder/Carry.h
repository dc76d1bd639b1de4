#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "builder/FrameMap.h"
#include "builder/Privacy.h"
#include "mp4/Container.h"
#include "mp4/MetadataEdit.h"

/// What the camera wrote in one or more movies, put onto a cut, a joint or a re-encoded copy of
/// them.
class Carry {
  public:
    struct Options {
        /// Where the target stands in the source, in seconds, for a target that is re-encoded.
        std::optional<double> from, to;
        /// Whether boxes of the target give way.
        bool replace = false;
        /// What is left behind.
        Privacy::What drop = {};
    };
    enum class Fate { carried, present, notCarried };
    /// What became of one kind of metadata that a source has.
    struct Item {
        std::string name;
        Fate fate;
        /// Why it is not carried.
        std::string why = {};
    };

    /// Decides everything and writes nothing. The movies outlive this. Throws a Refusal when the
    /// frames of the target cannot be told, or the sources have nothing of the camera.
    Carry(const std::vector<std::unique_ptr<MP4::Container>>& sources, MP4::Container& target,
          const Options& options);

    const FrameMap& frames() const { return map; }
    const std::vector<Item>& items() const { return fates; }
    bool nothingToDo() const { return edit.isEmpty(); }
    /// Writes the target, or its output path; false with the target as it was.
    bool apply();

  private:
    using Present = MP4::MetadataEdit::Present;

    void carryUserData();
    void carryMotion();
    void carryUuids();
    void carryTilt();
    void carrySpatialAudio();
    void note(const std::string& name, bool done);
    void leaveOut(const std::string& name, const std::string& why);
    const MP4::Container& first() const { return *sources.front(); }

    const std::vector<std::unique_ptr<MP4::Container>>& sources;
    MP4::Container& target;
    const Options options;
    const Present present;
    std::vector<VideoSamples> videos;
    VideoSamples cut;
    FrameMap map;
    MP4::MetadataEdit edit;
    std::vector<Item> fates;
};

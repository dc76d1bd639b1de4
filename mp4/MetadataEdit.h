#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "mp4/Container.h"
#include "mp4/GPSInfo.h"
#include "mp4/SplicePlan.h"

namespace MP4 {

/// Changes of a movie's metadata boxes, collected and then made in one step. Of two changes of the
/// same box the later one counts.
class MetadataEdit {
  public:
    /// What happens to boxes of the kind that are there.
    enum class Present { keep, replace };

    /// The movie must stay as it is until `apply`.
    explicit MetadataEdit(Container& movie) : movie(movie) {}

    /// Puts boxes of one type into the user data, which is made when there is none. Returns false,
    /// with nothing changed, when the movie has a box of that type that is to be kept.
    bool putUserData(FourCC type, const std::string& boxes, Present present);
    /// Replaces everything in the user data by these boxes.
    void replaceUserData(const std::string& boxes);
    /// Puts the position into the location boxes of the user data, the camera's own among them
    /// where there is one. False when it lacks latitude or longitude.
    bool putPosition(const GPSInfo& position);
    /// Puts the XML into the spherical-video box of the video track. As putUserData; false also
    /// without a video track.
    bool putSphericalXml(const std::string& xml, Present present);
    /// Puts a uuid box behind the last box of the file. As putUserData.
    bool putTopLevel(const UUID& box, Present present);
    void remove(const BOX& box);

    /// Writes at the end of the new file. What it writes may point into itself, with the position
    /// of `file`, but not into the rest of the movie.
    using Tail = std::function<bool(BinFile& file)>;
    /// Two steps: media data first, and boxes that point into it when every offset of the movie
    /// has been set right.
    void addTail(Tail media, Tail boxes);

    /// The number of boxes that change.
    std::size_t count() const;
    /// Nothing to do: boxes that are there already, byte for byte, do not count.
    bool isEmpty() const;
    /// Makes the changes under the name, in the cheapest way that serves or into the container's
    /// output path if it has one; false, with the file as it was, when they cannot be made.
    bool apply(const wchar_t* name);
    /// Adds the changes but the tail's to a plan of others.
    void addTo(SplicePlan& plan) const;

  private:
    /// The only one, with these bytes.
    bool isAlready(const std::vector<const BOX*>& old, const std::string& bytes) const;
    void replaceFirst(const std::vector<const BOX*>& old, const std::string& bytes);

    /// Boxes by what tells one kind from another, in the order in which they were first put.
    template <class Kind>
    using Put = std::vector<std::pair<Kind, std::string>>;

    Container& movie;
    /// Boxes of the movie and the bytes in their place.
    std::map<const BOX*, std::string> replaced;
    Put<FourCC> userData;
    Put<UserType> fileEnd;
    std::string inTrack;
    Tail mediaTail, boxTail;
};

/// The spherical-video box of the video track, or null.
const UUID* sphericalVideoBox(const Container& movie);

}  // namespace MP4

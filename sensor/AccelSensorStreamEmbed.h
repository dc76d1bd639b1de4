#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "mp4/Container.h"
#include "sensor/SensorRecords.h"
#include "support/FileIO.h"
#include "support/Geometry.h"

/// The motion-sensor streams of a movie: loaders of the sensor boxes, and the list of one
/// accelerometer entry per frame with the orientation that follows from it.
///
/// M29 and M30 are two generations of the camera's firmware. What M29 wrote (gyro, compass,
/// accelerometer) is read as stored; M30 added the time of every video frame, onto which the
/// accelerometer is then brought. Nobody needs to know which wrote a movie: without frame times the
/// M30 loader does what the M29 one does.
class AccelSensorStreamEmbed {
  public:
    using Gyro = SensorRecords::Gyro;
    using Ecompass = SensorRecords::Ecompass;
    using TopBottomCorrection = SensorRecords::TopBottomCorrection;
    using TAccelSensorInfo = SensorRecords::TAccelSensorInfo;

    virtual ~AccelSensorStreamEmbed() = default;

    /// Loaders of one box of the movie's user data each (gyro, compass, accelerometer as stored,
    /// frame timestamps). They replace the vector and set the rate (samples a second, as the box
    /// states it). A missing box gives no records and the rate 0, a malformed one a line on the
    /// console as well. Boxes of one name append; the last rate wins.
    static void loadM29_KDTB(const MP4::Container& movie, std::vector<Gyro>& samples,
                             std::uint16_t& rate);
    static void loadM29_KDTC(const MP4::Container& movie, std::vector<Ecompass>& samples,
                             std::uint16_t& rate);
    static void loadM29_KDTD(const MP4::Container& movie, std::vector<TopBottomCorrection>& samples,
                             std::uint16_t& rate);
    static void loadM30_KDTG(const MP4::Container& movie, std::vector<unsigned long long>& times,
                             std::uint16_t& rate);
    /// What the four above do with the boxes of a name: `swap` turns a record of the other byte
    /// order. For the three sample records and `unsigned long long`.
    template <class T>
    static void loadM29_KDTx(const MP4::Container& movie, const char* name, std::vector<T>& records,
                             std::uint16_t& rate, const std::function<void(T&)>& swap);
    /// The accelerometer resampled onto the frame timestamps, one sample a frame; without frame
    /// timestamps the samples as stored.
    static void loadM30_KDTD_with_KDTG(const MP4::Container& movie,
                                       std::vector<TopBottomCorrection>& samples,
                                       std::uint16_t& rate);
    /// The same, and the frame timestamps themselves.
    static void loadM30(const MP4::Container& movie, std::vector<TopBottomCorrection>& samples,
                        std::uint16_t& rate, std::vector<unsigned long long>& times);

    /// What the headers of the sensor boxes say: the same rates as those of the loaders, without
    /// reading the records.
    struct Rates {
        std::uint16_t gyro = 0;
        std::uint16_t compass = 0;
        std::uint16_t topBottom = 0;
        /// There are accelerometer records.
        bool hasTopBottom = false;
    };
    static Rates readRates(const MP4::Container& movie);

    /// Fills `infos` from the movie's compass and accelerometer and detects a reversed mounting.
    /// Deliberate: the two streams are paired by index, not by time.
    /// `newFrameRate` is 15 or 30. False when the streams do not suffice.
    bool loadM29(const MP4::Container& movie, int newFrameRate);
    /// The same from streams that are loaded, as `loadM30_KDTD_with_KDTG` leaves the accelerometer.
    bool loadM29(const std::vector<Ecompass>& compass,
                 const std::vector<TopBottomCorrection>& accel, int newFrameRate);
    /// The same from a raw accelerometer file at its position; with `filter` every axis is
    /// smoothed, on a thread of its own. False when the file is shorter than it announces.
    bool load(int unused, WEKU::FileIO& file, bool filter);

    /// The vector of one entry with offsets and temperature compensation applied. The index is
    /// clamped to the list; an empty list gives zeros.
    WEKU::Vector3 axis(int index) const;
    /// The rotation from one direction onto another; the identity for degenerate vectors.
    static void tiltMatrix0WithAxis(const WEKU::Vector3& from, const WEKU::Vector3& to,
                                    WEKU::Matrix3x3& out);
    /// Writes the entry's heading. Angles beyond 327.67 degrees wrap to negative numbers.
    static void calcOrientation(TAccelSensorInfo& info, const Ecompass& compass);
    /// Judge from `infos` whether the camera was held upside down, and whether its front was
    /// reversed. Each prints one line.
    ///
    /// An entry's weight for a side is 1 / sin of its angle to the vertical: the nearer, the surer.
    /// Only weights above 2 count, which are those within 30 degrees; 100000 is what the vertical
    /// itself weighs. The heavier side wins.
    void detectReverse();
    /// The front score sums, over all entries, how much of the first axis of the orientation frame
    /// (below: sensor y, z, x) is left by the turn that levels the entry: 1 for a level camera,
    /// less than 0 where levelling turns the front away. A sum of 0 or less says that it did,
    /// which upside down means the opposite.
    void detectReverseFront();

    /// The first twelve fields are the header of the raw accelerometer file.
    std::int32_t count = 0;
    std::int32_t samplingRate = 0;
    std::int32_t tempGain = 0;
    std::int32_t tempOffset = 0;
    std::int32_t tempCoeffZ = 0;
    std::int32_t reserved = 0;
    std::int32_t offsetX = 0;
    std::int32_t offsetY = 0;
    std::int32_t offsetZ = 0;
    std::int32_t tempCompensation = 0;
    /// 15 or 30, and 30 divided by it.
    std::int32_t frameRate = 0;
    std::int32_t frameStep = 0;
    std::vector<TAccelSensorInfo> infos;

    bool upDownReversed = false;
    bool frontReversed = false;
    /// The weights of the entries near the vertical: positive for upside down.
    float positiveScore = 0;
    float negativeScore = 0;
    float frontScore = 0;

  private:
    void clear();
    bool finishLoad();
};

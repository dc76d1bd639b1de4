#pragma once

#include "kit/motion/Motion.h"

namespace kit {

/// Comma-separated values (RFC 4180): a line of column names with their units, then a row a frame.
void writeCsv(const Motion& motion, const Write& write);

/// A "GYROFLOW IMU LOG", which stabilisers read: a row a gyro sample with the accelerometer's
/// nearest to it. Samples that are no numbers are left out.
void writeGyroLog(const Motion& motion, const Write& write);

}  // namespace kit

#pragma once

#include <cmath>

/// The small maths types of the sensor code. Every operation rounds to T and sums run left to
/// right, because printed digits depend on both.
namespace WEKU2 {

template <class T>
struct Vector3 {
    T x = 0;
    T y = 0;
    T z = 0;

    constexpr T dot(const Vector3& v) const { return x * v.x + y * v.y + z * v.z; }
    constexpr Vector3 cross(const Vector3& v) const {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }
    T length() const { return std::sqrt(dot(*this)); }
    constexpr Vector3 operator/(T divisor) const { return {x / divisor, y / divisor, z / divisor}; }
    /// The direction; NaN in every component for the zero vector.
    Vector3 normalized() const { return *this / length(); }
};

/// Three rows, stored row by row.
template <class T>
struct Matrix3x3 {
    Vector3<T> rows[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};

/// A rotation as (x, y, z, w) of unit length.
template <class T>
struct Quaternion {
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 1;

    constexpr Matrix3x3<T> toMatrix() const {
        return {{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
                 {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
                 {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}};
    }
};

}  // namespace WEKU2

namespace WEKU {

using Vector3 = WEKU2::Vector3<float>;
using Matrix3x3 = WEKU2::Matrix3x3<float>;

}  // namespace WEKU

#include "sensor/Filters.h"

#include <algorithm>

#include "sensor/FilterKernels.h"

template <class T>
void covFilter(const std::vector<T>& in, const std::vector<T>& kernel, std::vector<T>& out) {
    out.assign(in.size(), T{0});
    if (in.empty()) return;
    const std::size_t half = kernel.size() / 2;
    std::vector<T> padded(half, in.front());
    padded.insert(padded.end(), in.begin(), in.end());
    padded.insert(padded.end(), half, in.back());

    // Each sum runs in the order of the taps. Many outputs advance together, so that the additions
    // of one do not wait for one another; a block of them stays in the cache.
    constexpr std::size_t blockSize = 1024;
    for (std::size_t begin = 0; begin < in.size(); begin += blockSize) {
        const std::size_t count = std::min(blockSize, in.size() - begin);
        T* const sums = out.data() + begin;
        for (std::size_t tap = 0; tap < kernel.size(); ++tap) {
            const T* const samples = padded.data() + begin + tap;
            const T weight = kernel[tap];
            for (std::size_t i = 0; i < count; ++i)
                sums[i] += samples[i] * weight;
        }
    }
}

template void covFilter(const std::vector<double>&, const std::vector<double>&,
                        std::vector<double>&);

namespace {

template <class Kernel, class T>
void filterWith(const std::vector<T>& in, std::vector<T>& out) {
    const std::vector<T> kernel(Kernel::dFilterLL.begin(), Kernel::dFilterLL.end());
    covFilter(in, kernel, out);
}

}  // namespace

template <class T>
void lpfForAcc(const std::vector<T>& in, std::vector<T>& out) {
    filterWith<kernelForAcc<T>>(in, out);
}

template <class T>
void lpfForTsunagi(const std::vector<T>& in, std::vector<T>& out) {
    filterWith<kernelForTsunagi<T>>(in, out);
}

template <class T>
void lpfForTsunagi30(const std::vector<T>& in, std::vector<T>& out) {
    filterWith<kernelForTsunagi30<T>>(in, out);
}

template void lpfForAcc(const std::vector<double>&, std::vector<double>&);
template void lpfForTsunagi(const std::vector<double>&, std::vector<double>&);
template void lpfForTsunagi30(const std::vector<double>&, std::vector<double>&);

void filterForAcc(const std::vector<double>& in, std::vector<double>& out) {
    lpfForAcc<double>(in, out);
}

void filterForGap(const std::vector<double>& in, std::vector<double>& out) {
    lpfForTsunagi<double>(in, out);
}

void filterForGap30(const std::vector<double>& in, std::vector<double>& out) {
    lpfForTsunagi30<double>(in, out);
}

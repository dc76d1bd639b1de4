#pragma once

#include <vector>

/// Long symmetric FIR low-passes with replicated edges. No state is kept: they may run on several
/// threads at once, each with data of its own. Frequencies are in cycles a sample (times the
/// sampling rate: hertz), attenuations against a constant signal.

/// Convolves `in` with a kernel of odd length; an index beyond either end reads the sample at that
/// end. `out`, another vector, becomes as long as `in`. T is double.
template <class T>
void covFilter(const std::vector<T>& in, const std::vector<T>& kernel, std::vector<T>& out);

template <class T>
void lpfForAcc(const std::vector<T>& in, std::vector<T>& out);
template <class T>
void lpfForTsunagi(const std::vector<T>& in, std::vector<T>& out);
template <class T>
void lpfForTsunagi30(const std::vector<T>& in, std::vector<T>& out);

/// Smooths one axis of an accelerometer series (301 taps; -6 dB at 0.0034, -40 dB at 0.0074).
void filterForAcc(const std::vector<double>& in, std::vector<double>& out);
/// The short (71 taps; -6 dB at 0.0144, -40 dB at 0.0317) and the sharp (301 taps; -6 dB at 0.0065,
/// -40 dB at 0.0110) filters for joining series across a gap.
void filterForGap(const std::vector<double>& in, std::vector<double>& out);
void filterForGap30(const std::vector<double>& in, std::vector<double>& out);

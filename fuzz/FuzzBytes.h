#pragma once
// Turns the fuzzer's bytes into values. Every read succeeds: past the end it yields zeros, so any
// input, however short, decodes to something.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <Point3.h>

namespace VeskFuzz {

class FuzzBytes {
public:
    FuzzBytes(const uint8_t* pData, size_t size) : pData(pData), size(size) {}

    bool exhausted() const { return position >= size; }
    uint8_t byte() { return position < size ? pData[position++] : 0; }

    double rawDouble()
    {
        uint8_t aBytes[8] = {};
        for (uint8_t& b : aBytes) b = byte();
        double value = 0.0;
        std::memcpy(&value, aBytes, sizeof(value));
        return value;
    }

private:
    const uint8_t* pData;
    size_t size;
    size_t position = 0;
};

// value moved by steps units in the last place (from zero into the subnormals).
inline double nudged(double value, int steps)
{
    const double target = steps > 0 ? HUGE_VAL : -HUGE_VAL;
    for (int i = 0; i < std::abs(steps); ++i) value = std::nextafter(value, target);
    return value;
}

// One coordinate, biased toward the inputs that stress exact predicates: small integers, values
// repeated from earlier coordinates, one-ulp neighbours of them, huge offsets, dyadic fractions,
// small integers at any scale of the double range, raw finite doubles (other bit patterns give 0).
// Every coordinate drawn is appended to vEarlier.
inline double nearDegenerateCoordinate(FuzzBytes& in, std::vector<double>& vEarlier)
{
    auto earlier = [&]() { return vEarlier.empty() ? 1.0 : vEarlier[in.byte() % vEarlier.size()]; };
    double value = 0.0;
    switch (in.byte() % 8) {
    case 0: value = in.byte() % 17 - 8; break;
    case 1: value = earlier(); break;
    case 2: value = nudged(earlier(), static_cast<int8_t>(in.byte()) / 8); break;
    case 3: value = std::ldexp(1.0, 20 + in.byte() % 40); value += in.byte() % 17 - 8; break;
    case 4: value = in.byte() % 255 - 127; value = std::ldexp(value, -(in.byte() % 30)); break;
    case 5: value = -earlier(); break;
    case 6: value = std::ldexp(static_cast<double>(in.byte() % 17 - 8), in.byte() * 8 - 1074); break;
    default: value = in.rawDouble(); value = std::isfinite(value) ? value : 0.0; break;
    }
    vEarlier.push_back(value);
    return value;
}

// Three coordinates drawn as above, in the order x, y, z.
inline VESK3D::Point3 nearDegeneratePoint(FuzzBytes& in, std::vector<double>& vEarlier)
{
    const double x = nearDegenerateCoordinate(in, vEarlier);
    const double y = nearDegenerateCoordinate(in, vEarlier);
    return VESK3D::Point3(x, y, nearDegenerateCoordinate(in, vEarlier));
}

// p times 2^exponent, or p itself where that is not finite.
inline VESK3D::Point3 scaledIfFinite(const VESK3D::Point3& p, int exponent)
{
    const VESK3D::Point3 scaled(std::ldexp(p.x(), exponent), std::ldexp(p.y(), exponent), std::ldexp(p.z(), exponent));
    return std::isfinite(scaled.x()) && std::isfinite(scaled.y()) && std::isfinite(scaled.z()) ? scaled : p;
}

// A finding: the message goes to standard error (the library's own output may be switched off)
// and the process aborts, which the fuzzer reports with the input.
[[noreturn]] inline void fail(const char* what)
{
    std::fprintf(stderr, "FUZZ FINDING: %s\n", what);
    std::abort();
}

} // namespace VeskFuzz

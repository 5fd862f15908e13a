// Five points from the fuzzer's bytes; every orientation and in-sphere answer of GeomTest3 about
// them must equal the sign that exact rational arithmetic gives.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "FuzzBytes.h"
#include "PredicateAgreement.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size)
{
    VeskFuzz::FuzzBytes in(pData, size);
    std::vector<double> vCoordinates;
    VeskTest::Quintuple p;
    for (VESK3D::Point3& q : p) q = VeskFuzz::nearDegeneratePoint(in, vCoordinates);
    // A quarter of the inputs are moved, whole, anywhere in the double range (degeneracy kept
    // where the scaling stays exact).
    if (in.byte() % 4 == 0) {
        const int exponent = in.byte() * 8 - 1074;
        for (VESK3D::Point3& q : p) q = VeskFuzz::scaledIfFinite(q, exponent);
    }
    // The query is sometimes a corner object itself, which the in-sphere test must also take.
    const int queryCorner = in.byte() % 8 == 0 ? in.byte() % 4 : -1;
    static const VESK3D::GeomTest3 predicates;
    const std::string wrong = VeskTest::predicateDisagreement(predicates, p, queryCorner);
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s\n", wrong.c_str());
        VeskFuzz::fail("GeomTest3 differs from exact arithmetic");
    }
    return 0;
}

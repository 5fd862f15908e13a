#include <HC3.h>
#include <Vesk_3D.h>
#include <benchmark/benchmark.h>

using namespace VESK3D;

namespace {

// 1,500,000 requested points give exactly 1,000,000 (two thirds are kept).
const std::vector<Point3>& millionPoints()
{
    static const std::vector<Point3> vPoints = [] {
        std::vector<Point3> v;
        generateRandomPoints(1500000, 0.0, 1000.0, v, 4711);
        return v;
    }();
    return vPoints;
}

void BM_RegistryBatchOfAMillion(benchmark::State& state)
{
    const std::vector<Point3>& vPoints = millionPoints();
    for (auto _ : state) {
        HC3 reg;
        std::vector<Point3*> vHandles, vNew;
        reg.insert(vPoints, vHandles, vNew);
        benchmark::DoNotOptimize(vNew.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(vPoints.size()));
}
BENCHMARK(BM_RegistryBatchOfAMillion)->Unit(benchmark::kMillisecond);

void BM_RegistrySinglesOfAMillion(benchmark::State& state)
{
    const std::vector<Point3>& vPoints = millionPoints();
    for (auto _ : state) {
        HC3 reg;
        for (const Point3& p : vPoints)
            benchmark::DoNotOptimize(reg.insert(p));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(vPoints.size()));
}
BENCHMARK(BM_RegistrySinglesOfAMillion)->Unit(benchmark::kMillisecond);

} // namespace

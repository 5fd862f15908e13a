// One large triangulation of a dataset file, then the library's own validity check on the result.
// Prints "points=N tets=T time=S rss_before_mib=A peak_mib=B bytes_per_point=C check_time=S valid=0|1";
// bytes per point is the growth of the resident set during the insertion, divided by N.
#include <Vesk_3D.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <string>

#include "dataset_io.h"

namespace {

long currentResidentKiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    }
    return 0;
}

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: stress_check DATASET" << std::endl;
        return 2;
    }
    std::vector<VESK3D::Point3> vPoints = benchdata::readPoints<VESK3D::Point3>(argv[1]);
    const long beforeKiB = currentResidentKiB();

    VESK3D::setMessageSink([](VESK3D::MessageKind, const std::string&) {});
    VESK3D::Vesk_3D dt;
    const auto insertStart = std::chrono::steady_clock::now();
    dt.insert(vPoints);
    const double insertSeconds = secondsSince(insertStart);
    const long peakKiB = benchdata::peakResidentKiB();
    std::vector<VESK3D::Tet3*> vTets;
    dt.getTetrahedra(vTets);
    const auto checkStart = std::chrono::steady_clock::now();
    const bool bValid = dt.checkValidity("stress", true);
    const double checkSeconds = secondsSince(checkStart);

    std::cout << "points=" << vPoints.size() << " tets=" << vTets.size() << " time=" << insertSeconds
              << " rss_before_mib=" << beforeKiB / 1024 << " peak_mib=" << peakKiB / 1024
              << " bytes_per_point=" << (peakKiB - beforeKiB) * 1024.0 / vPoints.size() << " check_time=" << checkSeconds
              << " valid=" << bValid << std::endl;
    return bValid ? 0 : 1;
}

// One timed run of Vesk3D on a dataset file: batch insertion through the facade, on THREADS
// threads (default 1, the sequential engine).
// Prints "time=<wall seconds> cpu=<process CPU seconds> tets=<count> rss_kib=<peak resident KiB>"
// (the peak before the tetrahedra are listed for counting; the peer counts them for free). CPU
// time is the steadier figure on a machine shared with other work.
#include <Vesk_3D.h>

#include <chrono>
#include <ctime>
#include <iostream>
#include <string>

#include "dataset_io.h"

int main(int argc, char* argv[])
{
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: contender_vesk3d DATASET [THREADS]" << std::endl;
        return 2;
    }
    std::vector<VESK3D::Point3> points = benchdata::readPoints<VESK3D::Point3>(argv[1]);

    VESK3D::setMessageSink([](VESK3D::MessageKind, const std::string&) {});
    VESK3D::Vesk_3D dt;
    dt.setNumThreads(argc == 3 ? std::stoi(argv[2]) : 1);
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t cpuStart = std::clock();
    dt.insert(points);
    const double cpuSeconds = double(std::clock() - cpuStart) / CLOCKS_PER_SEC;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    // The peak of the triangulation itself: the list below is only there to count.
    const long peakKiB = benchdata::peakResidentKiB();
    std::vector<VESK3D::Tet3*> tets;
    dt.getTetrahedra(tets);

    std::cout << "time=" << elapsed.count() << " cpu=" << cpuSeconds << " tets=" << tets.size() << " rss_kib=" << peakKiB
              << std::endl;
    return 0;
}

// One timed run of Vesk3D on a dataset file: batch insertion through the facade.
// Prints "time=<seconds> tets=<count> rss_kib=<peak resident KiB>" (the peak before the
// tetrahedra are listed for counting; the peer counts them for free).
#include <Vesk_3D.h>

#include <chrono>
#include <iostream>
#include <sstream>

#include "dataset_io.h"

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: contender_vesk3d DATASET" << std::endl;
        return 2;
    }
    std::vector<VESK3D::Point3> points;
    {
        const benchdata::Coordinates coordinates = benchdata::readDataset(argv[1]);
        points.reserve(coordinates.size());
        for (const auto& c : coordinates) points.emplace_back(c[0], c[1], c[2]);
    }

    VESK3D::Vesk_3D dt;
    std::ostringstream libraryChatter;
    std::streambuf* pConsole = std::cout.rdbuf(libraryChatter.rdbuf());
    const auto start = std::chrono::steady_clock::now();
    dt.insert(points);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    // The peak of the triangulation itself: the list below is only there to count.
    const long peakKiB = benchdata::peakResidentKiB();
    std::vector<VESK3D::Tet3*> tets;
    dt.getTetrahedra(tets);
    std::cout.rdbuf(pConsole);

    std::cout << "time=" << elapsed.count() << " tets=" << tets.size() << " rss_kib=" << peakKiB
              << std::endl;
    return 0;
}

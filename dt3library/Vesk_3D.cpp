#include "Vesk_3D.h"

#include <algorithm>
#include <climits>
#include <optional>
#include <thread>

#include "Dt3.h"

namespace VESK3D {

namespace {
constexpr int majorVersion = 0;
constexpr int minorVersion = 99;
constexpr int revision = 0;
#ifdef NDEBUG
constexpr bool releaseBuild = true;
constexpr const char* configurationText = "RELEASE";
#else
constexpr bool releaseBuild = false;
constexpr const char* configurationText = "DEBUG";
#endif

const std::string versionText = std::string("Vesk3D, ") + configurationText + ", v" + std::to_string(majorVersion) + "." +
                                std::to_string(minorVersion) + "." + std::to_string(revision);

// Numbers records by their place in a list without touching them: a dense array indexed by pool
// position takes the place of a hash map of millions of pointers.
template <class T>
class RecordNumbering {
public:
    RecordNumbering(const SimplePool<T>& pool_, const std::vector<T*>& vRecords)
        : pool(pool_), vIndexAt(pool_.getNumRecords(), -1)
    {
        const size_t numRecords = vRecords.size();
        VESK_ASSERT(numRecords<=INT_MAX);
        for (size_t i = 0; i < numRecords; ++i) vIndexAt[pool.getPosition(vRecords[i])] = static_cast<int>(i);
    }

    // -1 for null, and for a record that is not in the list.
    int indexOf(const T* pRecord) const { return pRecord == nullptr ? -1 : vIndexAt[pool.getPosition(pRecord)]; }

private:
    const SimplePool<T>& pool;
    std::vector<int> vIndexAt;
};

// A tetrahedron's place in the listing, from listingIndexByPosition's array; -1 for none.
int listedIndex(const std::vector<int>& vIndexAt, const SimplePool<Tet3>& tetPool, const Tet3* pTet)
{
    return pTet == nullptr ? -1 : vIndexAt[tetPool.getPosition(pTet)];
}

} // namespace

Vesk_3D::Vesk_3D() : pDt(new Dt3(this)) {}

Vesk_3D::~Vesk_3D()
{
    delete pDt;
}

Point3* Vesk_3D::insert(Point3& p)
{
    return pDt->insert(p);
}

void Vesk_3D::insert(std::vector<Point3>& vPoints)
{
    vLastBatchVertices.clear();
    std::vector<Point3*> vHandles;
    pDt->insert(vPoints, vHandles);
    vLastBatchVertices.swap(vHandles);
}

void Vesk_3D::insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles)
{
    vLastBatchVertices.clear();
    pDt->insert(vPoints, vUserHandles);
    vLastBatchVertices = vUserHandles;
}

bool Vesk_3D::is3D() const
{
    return pDt->is3D();
}

void Vesk_3D::getVertices(std::vector<Point3*>& vVertices) const
{
    pDt->getVertices(vVertices);
}

size_t Vesk_3D::getNumVertices() const
{
    return pDt->getNumVertices();
}

void Vesk_3D::getTetrahedra(std::vector<Tet3*>& vTetrahedra) const
{
    pDt->getAllTetrahedra(vTetrahedra);
}

Tet3* Vesk_3D::locate(const Point3& p)
{
    return pDt->locate(p);
}

void Vesk_3D::getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets)
{
    pDt->getTetsAroundVertex(pVtx, vTets);
}

void Vesk_3D::setVerbosity(bool bVerbose)
{
    pDt->setVerbosity(bVerbose);
}

void Vesk_3D::setNumThreads(int n)
{
    VESK_ASSERT(n>=0);
    pDt->setNumThreads(n > 0 ? n : static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
}

int Vesk_3D::getNumThreads() const
{
    return pDt->getNumThreads();
}

void Vesk_3D::exportMesh(MeshArrays& arrays, bool bWithNeighbors) const
{
    MeshExportParts parts;
    parts.bNeighbors = bWithNeighbors;
    exportMesh(arrays, parts);
}

void Vesk_3D::exportMesh(MeshArrays& arrays, const MeshExportParts& parts) const
{
    std::vector<Point3*> vVertices;
    if (parts.bCoordinates || !parts.bCustomIndices) pDt->getVertices(vVertices);
    arrays.vCoordinates.clear();
    if (parts.bCoordinates) {
        arrays.vCoordinates.reserve(3 * vVertices.size());
        for (const Point3* pVertex : vVertices)
            arrays.vCoordinates.insert(arrays.vCoordinates.end(), {pVertex->x(), pVertex->y(), pVertex->z()});
    }
    std::optional<RecordNumbering<Point3>> vertexNumbering;
    if (!parts.bCustomIndices) vertexNumbering.emplace(pDt->getVertexPool(), vVertices);
    auto vertexIndexOf = [&](const Point3* pVertex) {
        return parts.bCustomIndices ? pVertex->getCustomIndex() : vertexNumbering->indexOf(pVertex);
    };

    // One pass over the pool, rows written at each record's index: no list of the tetrahedra.
    arrays.vTetCorners.clear();
    arrays.vTetNeighbors.clear();
    if (parts.bCorners || parts.bNeighbors) {
        size_t numTets = 0;
        const std::vector<int> vTetIndexAt = pDt->listingIndexByPosition(numTets);
        const SimplePool<Tet3>& tetPool = pDt->getTetPool();
        if (parts.bCorners) arrays.vTetCorners.resize(4 * numTets);
        if (parts.bNeighbors) arrays.vTetNeighbors.resize(4 * numTets);
        tetPool.forEachRecordAt([&](const Tet3* pTet, size_t position) {
            const int t = vTetIndexAt[position];
            if (t < 0) return;
            if (parts.bCorners)
                for (int i = 0; i < 4; ++i) arrays.vTetCorners[4 * t + i] = vertexIndexOf(pTet->getCorner(i));
            if (parts.bNeighbors)
                for (int i = 0; i < 4; ++i) arrays.vTetNeighbors[4 * t + i] = listedIndex(vTetIndexAt, tetPool, pTet->getOppTet(i));
        });
    }

    arrays.vInputVertices.resize(vLastBatchVertices.size());
    for (size_t k = 0; k < vLastBatchVertices.size(); ++k)
        arrays.vInputVertices[k] = vertexIndexOf(vLastBatchVertices[k]);
}

void Vesk_3D::locateTetIndices(const double* pXyz, size_t numPoints, int* pTetIndices)
{
    size_t numTets = 0;
    const std::vector<int> vTetIndexAt = pDt->listingIndexByPosition(numTets);
    for (size_t k = 0; k < numPoints; ++k)
        pTetIndices[k] = listedIndex(vTetIndexAt, pDt->getTetPool(), pDt->locate(Point3(pXyz[3 * k], pXyz[3 * k + 1], pXyz[3 * k + 2])));
}

bool Vesk_3D::checkValidity(const std::string& name, bool checkSphereInclusion) const
{
    return pDt->checkValidity(name, checkSphereInclusion, checkSphereInclusion);
}

void Vesk_3D::print(const std::string& name) const
{
    pDt->print(name);
}

void Vesk_3D::show(const std::string& filename, Point3* pVtx) const
{
    pDt->show(filename, pVtx);
}

int getMajorVersionNumber() { return majorVersion; }
int getMinorVersionNumber() { return minorVersion; }
int getRevisionNumber() { return revision; }
bool isRelease() { return releaseBuild; }
std::string getVesk3DVersion() { return versionText; }

} // namespace VESK3D

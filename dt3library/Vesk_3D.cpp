#include "Vesk_3D.h"

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
    std::vector<Point3*> vDiscardedHandles;
    pDt->insert(vPoints, vDiscardedHandles);
}

void Vesk_3D::insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles)
{
    pDt->insert(vPoints, vUserHandles);
}

bool Vesk_3D::is3D() const
{
    return pDt->is3D();
}

void Vesk_3D::getVertices(std::vector<Point3*>& vVertices) const
{
    pDt->getVertices(vVertices);
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

// A host program outside the library's tree: everything it uses comes through <Vesk_3D.h>.
#include <Vesk_3D.h>

#include <iostream>
#include <vector>

int main()
{
    std::cout << VESK3D::getVesk3DVersion() << std::endl;
    const std::vector<VESK3D::Point3> vPoints = {VESK3D::Point3(1, -2, 3), VESK3D::Point3(-4, 5, 0.5),
                                                 VESK3D::Point3(2, 2, 2)};
    const VESK3D::Bbox3 box(vPoints);
    box.debug();
    const bool bExpected = box.getMinCoord() == -4 && box.getMaxCoord() == 5 && box.getRangeZ() == 2.5;
    return bExpected ? 0 : 1;
}

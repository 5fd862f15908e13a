// Triangulation example: the engine is not in place yet, so this only shows the library's version.
#include <Vesk_3D.h>

#include <iostream>

int main()
{
    std::cout << VESK3D::getVesk3DVersion() << std::endl;
    return 0;
}

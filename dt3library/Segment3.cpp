#include "Segment3.h"

#include <iostream>

namespace VESK3D {

void Segment3::debug() const
{
    std::cout << "Segment3: " << src << "," << trg << std::endl;
}

} // namespace VESK3D

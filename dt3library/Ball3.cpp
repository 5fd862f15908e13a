#include "Ball3.h"

#include <cmath>
#include <iostream>

namespace VESK3D {

double Ball3::getRadius() const
{
    return std::sqrt(sqRadius);
}

void Ball3::debug() const
{
    std::cout << "Ball3: " << center << ", r=" << sqRadius << std::endl;
}

} // namespace VESK3D

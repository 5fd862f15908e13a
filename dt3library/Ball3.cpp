#include "Ball3.h"

#include <cmath>
#include <ostream>

#include "tools.h"

namespace VESK3D {

double Ball3::getRadius() const
{
    return std::sqrt(sqRadius);
}

void Ball3::debug() const
{
    messageStream(MESSAGE_DUMP) << "Ball3: " << center << ", r=" << sqRadius << std::endl;
}

} // namespace VESK3D

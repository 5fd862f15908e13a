#include "Segment3.h"

#include <ostream>

#include "tools.h"

namespace VESK3D {

void Segment3::debug() const
{
    messageStream(MESSAGE_DUMP) << "Segment3: " << src << "," << trg << std::endl;
}

} // namespace VESK3D

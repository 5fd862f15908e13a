#include "VeskException.h"

namespace VESK3D {

const char* VeskException::what() const noexcept
{
    return "\n  VESK EXCEPTION due to a bug _or_ wrong usage of Vesk. If you think it is a \n"
           "  bug then please report this incident and it will be fixed quickly: ";
}

} // namespace VESK3D

#include "VeskException.h"

namespace VESK3D {

namespace {
const std::string& noText()
{
    static const std::string text;
    return text;
}
} // namespace

VeskException::VeskException(const std::string& condition, const std::string& file, int line)
    : pOrigin(std::make_shared<const Origin>(Origin{condition, file, line}))
{
}

const char* VeskException::what() const noexcept
{
    return "\n  VESK EXCEPTION due to a bug _or_ wrong usage of Vesk. If you think it is a \n"
           "  bug then please report this incident and it will be fixed quickly: ";
}

const std::string& VeskException::getCondition() const noexcept
{
    return pOrigin ? pOrigin->condition : noText();
}

const std::string& VeskException::getFile() const noexcept
{
    return pOrigin ? pOrigin->file : noText();
}

int VeskException::getLine() const noexcept
{
    return pOrigin ? pOrigin->line : 0;
}

} // namespace VESK3D

#pragma once
#include <exception>

namespace VESK3D {

// The one exception the library throws on purpose. It carries no cause: the failed
// condition has already been printed by the assertion that threw it.
class VeskException : public std::exception {
public:
    VeskException() = default;
    VeskException(const VeskException& other) = default;
    VeskException& operator=(const VeskException& other) = default;
    ~VeskException() override = default;
    const char* what() const noexcept override;
};

} // namespace VESK3D

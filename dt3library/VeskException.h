#pragma once
#include <exception>
#include <memory>
#include <string>

namespace VESK3D {

// The one exception the library throws on purpose. what() is one fixed text; a host that logs
// the cause reads the failed condition and its source position from the accessors, which the
// library assertion fills (empty strings and line 0 for an exception made otherwise).
class VeskException : public std::exception {
public:
    VeskException() = default;
    // condition: the condition's source text ("numStoredTCS==0"); file: the source file as the
    // build passed it.
    VeskException(const std::string& condition, const std::string& file, int line);
    VeskException(const VeskException& other) = default;
    VeskException& operator=(const VeskException& other) = default;
    ~VeskException() override = default;
    const char* what() const noexcept override;

    const std::string& getCondition() const noexcept;
    const std::string& getFile() const noexcept;
    int getLine() const noexcept;

private:
    struct Origin {
        std::string condition;
        std::string file;
        int line;
    };
    // Shared, so that copying the exception while it is thrown cannot throw.
    std::shared_ptr<const Origin> pOrigin;
};

} // namespace VESK3D

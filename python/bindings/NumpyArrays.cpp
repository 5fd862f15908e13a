#include "NumpyArrays.h"

#include <cmath>
#include <sstream>

namespace vesk3d_python {

namespace {

std::string shapeText(const py::array& array)
{
    std::ostringstream text;
    text << "(";
    for (py::ssize_t axis = 0; axis < array.ndim(); ++axis)
        text << (axis ? ", " : "") << array.shape(axis);
    text << (array.ndim() == 1 ? ",)" : ")");
    return text.str();
}

void requireFinite(const CoordinateArray& coordinates, const std::string& what)
{
    const double* pValues = coordinates.data();
    for (py::ssize_t i = 0; i < coordinates.size(); ++i) {
        if (std::isfinite(pValues[i]))
            continue;
        const double* pRow = pValues + (i - i % 3);
        std::ostringstream text;
        text << what << " must be finite, but point " << i / 3 << " is (" << pRow[0] << ", " << pRow[1] << ", "
             << pRow[2] << ")";
        throw py::value_error(text.str());
    }
}

} // namespace

CoordinateArray toCoordinateArray(const py::object& object, const std::string& what, bool matrix)
{
    py::array array = py::module_::import("numpy").attr("asarray")(object, py::arg("dtype") = "float64",
                                                                    py::arg("order") = "C");
    bool bShapeOk = matrix ? array.ndim() == 2 : array.ndim() >= 1;
    if (!bShapeOk || array.shape(array.ndim() - 1) != 3) {
        std::string expected = matrix ? "(n, 3)" : "(..., 3)";
        throw py::value_error(what + " must have shape " + expected + ", got " + shapeText(array));
    }
    CoordinateArray coordinates = array.cast<CoordinateArray>();
    requireFinite(coordinates, what);
    return coordinates;
}

std::vector<VESK3D::Point3> toPoints(const CoordinateArray& coordinates, int firstIndex)
{
    const double* pXyz = coordinates.data();
    std::vector<VESK3D::Point3> vPoints;
    vPoints.reserve(coordinates.size() / 3);
    for (py::ssize_t i = 0; i < coordinates.size(); i += 3) {
        vPoints.emplace_back(pXyz[i], pXyz[i + 1], pXyz[i + 2]);
        vPoints.back().setCustomIndex(firstIndex + static_cast<int>(i / 3));
    }
    return vPoints;
}

std::vector<double> toVector(const CoordinateArray& coordinates)
{
    return std::vector<double>(coordinates.data(), coordinates.data() + coordinates.size());
}

} // namespace vesk3d_python

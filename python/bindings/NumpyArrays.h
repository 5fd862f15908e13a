#pragma once
// Conversions between the user's array-likes and the library: inputs are checked here so that
// the library only ever sees finite coordinates; outputs take over the library's vectors.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include <Vesk_3D.h>

namespace vesk3d_python {

namespace py = pybind11;
using CoordinateArray = py::array_t<double, py::array::c_style>;
using IndexArray = py::array_t<int, py::array::c_style>;

// The argument as a C-contiguous float64 array whose last axis has length 3 (and which has
// exactly two axes when `matrix`), converted or copied only when its type or layout demands it.
// Wrong shapes and non-finite values raise ValueError naming `what`.
CoordinateArray toCoordinateArray(const py::object& object, const std::string& what, bool matrix);

// The rows as points, row k with custom index firstIndex + k.
std::vector<VESK3D::Point3> toPoints(const CoordinateArray& coordinates, int firstIndex);
std::vector<double> toVector(const CoordinateArray& coordinates);

// A NumPy array of the given shape that owns `values`: the vector moves into a capsule, its
// elements are not copied.
template <class T>
py::array_t<T> toNumpy(std::vector<T>&& values, std::vector<py::ssize_t> shape)
{
    auto* pOwned = new std::vector<T>(std::move(values));
    py::capsule owner(pOwned, [](void* p) { delete static_cast<std::vector<T>*>(p); });
    return py::array_t<T>(std::move(shape), pOwned->data(), owner);
}

} // namespace vesk3d_python

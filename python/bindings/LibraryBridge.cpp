#include "LibraryBridge.h"

#include <string>

#include <Vesk_3D.h>

namespace vesk3d_python {

namespace py = pybind11;
using VESK3D::MessageKind;

namespace {

int loggingLevel(MessageKind kind)
{
    switch (kind) {
    case VESK3D::MESSAGE_ERROR: return 40;
    case VESK3D::MESSAGE_WARNING: return 30;
    case VESK3D::MESSAGE_INFO: return 20;
    default: return 10;
    }
}

// Lines may come from threads that do not hold the GIL, in the middle of an insertion: a logging
// handler that fails must not break the mesh, so its error is dropped.
void logLine(MessageKind kind, const std::string& line)
{
    if (!Py_IsInitialized())
        return;
    py::gil_scoped_acquire gil;
    try {
        py::module_::import("logging").attr("getLogger")("vesk3d").attr("log")(loggingLevel(kind), line);
    } catch (const py::error_already_set&) {
    }
}

} // namespace

void routeMessagesToLogging()
{
    VESK3D::setMessageSink(logLine);
    auto dropMessages = [] { VESK3D::setMessageSink([](MessageKind, const std::string&) {}); };
    py::module_::import("atexit").attr("register")(py::cpp_function(dropMessages));
}

void registerVeskError(py::module_& module)
{
    // Created once and never released: translated exceptions may be raised until the process ends.
    static PyObject* pErrorType = PyErr_NewExceptionWithDoc(
        "vesk3d.VeskError",
        "A check inside the library failed: a bug of the library, never a bad input.\n\n"
        "Attributes: condition (the failed condition's source text), file and line (where it is checked).",
        PyExc_RuntimeError, nullptr);
    if (!pErrorType)
        throw py::error_already_set();
    py::handle errorType(pErrorType);
    errorType.attr("condition") = "";
    errorType.attr("file") = "";
    errorType.attr("line") = 0;
    module.attr("VeskError") = errorType;

    py::register_exception_translator([](std::exception_ptr pException) {
        try {
            if (pException)
                std::rethrow_exception(pException);
        } catch (const VESK3D::VeskException& exception) {
            std::string message = exception.what();
            if (!exception.getCondition().empty())
                message += "\n  Condition [ " + exception.getCondition() + " failed ] at " + exception.getFile() + ":" +
                           std::to_string(exception.getLine());
            py::object error = py::handle(pErrorType)(message);
            error.attr("condition") = exception.getCondition();
            error.attr("file") = exception.getFile();
            error.attr("line") = exception.getLine();
            PyErr_SetObject(pErrorType, error.ptr());
        }
    });
}

} // namespace vesk3d_python

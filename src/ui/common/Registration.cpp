// Linking CVLParamcorUi is what gives a program its windows: the library
// registers them with the core when it is loaded, and the core uses them
// whenever a QApplication exists.
#include "ui/common/QtMessageBoxes.h"
#include "ui/common/WindowDialogs.h"

namespace paramcor::ui {
namespace {

struct Registration {
    Registration() { registerWindows(std::make_shared<QtMessageBoxes>(), std::make_shared<WindowDialogs>()); }
    ~Registration() { registerWindows(nullptr, nullptr); }
};

const Registration registration;

}  // namespace
}  // namespace paramcor::ui

// The versions of the workstation, for the maker's own people: the five version
// records of the suite, how the library was built and the text database's format.
#pragma once

#include "ui/common/ModalForm.h"

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

class FormVersioni final : public ModalForm {
    Q_OBJECT

public:
    explicit FormVersioni(Parametri& owner, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;

private:
    bool centred_ = false;
};

}  // namespace paramcor::ui

// The currency window: a symbol and a name for a currency that the units
// window's list lacks. It writes nothing itself: the units window reads the
// result from NuovoSimbolo and NuovaDescrizione after it closes.
#pragma once

#include "ui/ModalForm.h"

class QAction;
class QLabel;
class QLineEdit;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

// The currency last defined, trimmed and upper-cased; empty when the window was
// left without one.
extern QString NuovoSimbolo;
extern QString NuovaDescrizione;

class FormValuta final : public ModalForm {
    Q_OBJECT

public:
    // `texts` translates the captions and messages.
    explicit FormValuta(Parametri& texts, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void BottoneConferma();

    Parametri& texts_;
    QLineEdit* txtSimbolo_ = nullptr;
    QLineEdit* txtDesc_ = nullptr;
    QAction* confirm_ = nullptr;
};

}  // namespace paramcor::ui

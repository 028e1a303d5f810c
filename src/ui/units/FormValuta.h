// The currency window: a symbol and a name for a currency that the units
// window's list lacks. It writes nothing itself: it hands the currency back.
#pragma once

#include "ui/common/ModalForm.h"

#include <optional>

class QAction;
class QLabel;
class QLineEdit;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

// A currency defined in the window, trimmed and upper-cased.
struct NewCurrency {
    QString symbol;
    QString name;
};

class FormValuta final : public ModalForm {
    Q_OBJECT

public:
    // `texts` translates the captions and messages.
    explicit FormValuta(Parametri& texts, QWidget* parent = nullptr);

    // Shows the window; the currency defined, or none when it was left.
    static std::optional<NewCurrency> ask(Parametri& texts, QWidget* parent = nullptr);

    // The currency confirmed; none until then.
    const std::optional<NewCurrency>& currency() const { return currency_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void BottoneConferma();

    Parametri& texts_;
    QLineEdit* txtSimbolo_ = nullptr;
    QLineEdit* txtDesc_ = nullptr;
    QAction* confirm_ = nullptr;
    std::optional<NewCurrency> currency_;
};

}  // namespace paramcor::ui

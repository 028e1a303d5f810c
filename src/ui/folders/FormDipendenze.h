// The dependency dialog: a list in which the user picks the folders that follow
// the one being edited. It knows nothing of folders: the caller fills List1,
// preselects items, runs the form and reads confirmed() and the selection.
#pragma once

#include "ui/common/ModalForm.h"

class QListWidget;
class QPushButton;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

class FormDipendenze final : public ModalForm {
    Q_OBJECT

public:
    // `texts` translates the captions.
    explicit FormDipendenze(Parametri& texts, QWidget* parent = nullptr);

    QListWidget* List1() const { return list_; }
    // True when the user left with OKButton.
    bool confirmed() const { return confirmed_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void SelezionaTutto(bool state);
    void invertSelection();
    // Changes every item's selection while keeping the current item and the
    // first visible one where they were.
    template <class Change>
    void changeEveryItem(Change change);

    QListWidget* list_ = nullptr;
    bool confirmed_ = false;
};

}  // namespace paramcor::ui

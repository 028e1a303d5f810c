// The text correction window: the user finds a text by its Italian wording or by
// its wrong translation, corrects the translation in the user text file (for
// every program that uses the same wording, marked as changed by the customer so
// that deliveries leave it alone) and mails every correction to the maker.
#pragma once

#include "texts/Corrections.h"
#include "ui/common/ModalForm.h"

#include <memory>

class QLineEdit;
class QListWidget;
class QPushButton;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

class FormTesto final : public ModalForm {
    Q_OBJECT

public:
    // Opens its own connection to the user text file; a missing file is reported
    // and leaves the window without searches. Throws TextDatabaseError when the
    // file is there but cannot be opened.
    explicit FormTesto(Parametri& owner, QWidget* parent = nullptr);

private:
    void Cerca(QLineEdit* text, bool inTranslation);
    void addEntry(const texts::TextEntry& entry);
    void selectEntry();
    void Aggiorna();
    void Mail();

    Parametri& owner_;
    std::unique_ptr<texts::Corrections> corrections_;
    QLineEdit* testo1_ = nullptr;
    QLineEdit* testo2_ = nullptr;
    QListWidget* list_ = nullptr;
    QPushButton* aggiorna_ = nullptr;
};

}  // namespace paramcor::ui

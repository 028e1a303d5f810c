// The about window: the program and its version as the caller names them, the
// suite's and the library's versions, and whom to call. Its system information
// panel lists what support asks for, to be copied or mailed in one click.
#pragma once

#include "ui/common/ModalForm.h"

class QGroupBox;
class QTreeWidget;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

class FormInformazioni final : public ModalForm {
    Q_OBJECT

public:
    FormInformazioni(Parametri& owner, const QString& program, const QString& version, QWidget* parent = nullptr);

    // Opens the system information panel, collecting the facts the first time.
    void showSystemInformation();
    // The facts as plain text, as "Copia" and "Invia" hand them over.
    QString systemInformationText() const { return text_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void Copia();
    void Invia();

    Parametri& owner_;
    const QString program_;
    const QString version_;
    QGroupBox* panel_ = nullptr;
    QTreeWidget* list_ = nullptr;
    QString text_;
    bool centred_ = false;
};

}  // namespace paramcor::ui

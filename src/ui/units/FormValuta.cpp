#include "ui/units/FormValuta.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>

#include <QAction>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QToolBar>

namespace paramcor::ui {

FormValuta::FormValuta(Parametri& texts, QWidget* parent) : ModalForm(parent), texts_(texts) {
    setObjectName(QStringLiteral("FormValuta"));
    setWindowTitle(texts_.Traduci(QStringLiteral("Valuta")));

    QToolBar* toolbar = makeToolbar(this, QStringLiteral("tlbPulsanti"));
    confirm_ = addToolbarButton(toolbar, QStringLiteral("Conferma"), confirmIcon(),
                                texts_.Traduci(QStringLiteral("Conferma")));
    QAction* leave =
        addToolbarButton(toolbar, QStringLiteral("Esci"), exitIcon(), texts_.Traduci(QStringLiteral("Esci")));
    connect(confirm_, &QAction::triggered, this, [this] { guarded([this] { BottoneConferma(); }); });
    connect(leave, &QAction::triggered, this, &QDialog::reject);

    auto* symbolLabel = new QLabel(texts_.Traduci(QStringLiteral("Simbolo")), this);
    symbolLabel->setObjectName(QStringLiteral("lblSimbolo"));
    auto* nameLabel = new QLabel(texts_.Traduci(QStringLiteral("Descrizione")), this);
    nameLabel->setObjectName(QStringLiteral("lblDesc"));
    txtSimbolo_ = new QLineEdit(this);
    txtSimbolo_->setObjectName(QStringLiteral("txtSimbolo"));
    txtSimbolo_->setMaximumWidth(txtSimbolo_->fontMetrics().horizontalAdvance(QStringLiteral("MMMMMMMM")));
    txtDesc_ = new QLineEdit(this);
    txtDesc_->setObjectName(QStringLiteral("txtDesc"));
    txtDesc_->setMinimumWidth(txtDesc_->fontMetrics().horizontalAdvance(QStringLiteral("M")) * 18);
    symbolLabel->setBuddy(txtSimbolo_);
    nameLabel->setBuddy(txtDesc_);

    auto* layout = new QGridLayout(this);
    layout->setMenuBar(toolbar);
    layout->addWidget(symbolLabel, 0, 0);
    layout->addWidget(txtSimbolo_, 0, 1, Qt::AlignLeft);
    layout->addWidget(nameLabel, 1, 0);
    layout->addWidget(txtDesc_, 1, 1);
    layout->setColumnStretch(1, 1);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    confirm_->setEnabled(false);
    connect(txtSimbolo_, &QLineEdit::textChanged, this, [this] { confirm_->setEnabled(true); });
}

void FormValuta::keyPressEvent(QKeyEvent* event) {
    if (!confirmOrCancel(event, confirm_, [this] { BottoneConferma(); }))
        ModalForm::keyPressEvent(event);
}

void FormValuta::BottoneConferma() {
    const QString symbol = txtSimbolo_->text().trimmed();
    const QString name = txtDesc_->text().trimmed();
    if (symbol.isEmpty() || name.isEmpty()) {
        platform().messages->show(texts_.Traduci(QStringLiteral("Attenzione. Inserire tutti i dati")) +
                                      QStringLiteral(" !!") + QString(15, u' '),
                                  mb::OkOnly, windowTitle());
        return;
    }
    currency_ = NewCurrency{symbol.toUpper(), name.toUpper()};
    accept();
}

std::optional<NewCurrency> FormValuta::ask(Parametri& texts, QWidget* parent) {
    FormValuta form(texts, parent);
    form.run();
    return form.currency();
}

}  // namespace paramcor::ui

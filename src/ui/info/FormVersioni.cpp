#include "ui/info/FormVersioni.h"

#include "param/PrivateApi.h"

#include <CVLParamcor/Parametri.h>

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace paramcor::ui {
namespace {

// A group of read-only fields, selectable for copying.
class Fields {
public:
    Fields(QWidget* form, const QString& title, const char* name) : group_(new QGroupBox(title, form)) {
        group_->setObjectName(QLatin1String(name));
        rows_ = new QFormLayout(group_);
    }
    void add(Parametri& owner, const char* caption, const char* name, const QString& value) {
        auto* field = new QLineEdit(value, group_);
        field->setObjectName(QLatin1String(name));
        field->setReadOnly(true);
        field->setMinimumWidth(260);
        rows_->addRow(owner.Traduci(QString::fromUtf8(caption)) + u':', field);
    }
    QGroupBox* group() const { return group_; }

private:
    QGroupBox* group_;
    QFormLayout* rows_;
};

}  // namespace

FormVersioni::FormVersioni(Parametri& owner, QWidget* parent) : ModalForm(parent) {
    setObjectName(QStringLiteral("FormVersioni"));
    setWindowTitle(owner.Traduci(QStringLiteral("Versioni")));

    Fields product(this, owner.Traduci(QStringLiteral("Versioni del prodotto")), "fraProdotto");
    product.add(owner, "Prodotto", "txtProdotto", owner.VersioneProdotto());
    product.add(owner, "Aggiornamento", "txtAggiornamento", owner.VersioneUpgrade());
    product.add(owner, "Marmo", "txtMarmo", owner.VersioneProdottoMarmo());
    product.add(owner, "Vetro", "txtVetro", owner.VersioneProdottoVetro());
    product.add(owner, "Vetro CAM", "txtVetroCam", owner.VersioneProdottoVetroCam());

    const info::BuildInfo build = privateapi::buildInfo();
    Fields library(this, QStringLiteral("CVLParamcor"), "fraLibreria");
    library.add(owner, "Versione", "txtLibreria", build.version);
    library.add(owner, "Compilatore", "txtCompilatore", build.compiler);
    library.add(owner, "Data di compilazione", "txtData", build.date);
    library.add(owner, "Compilata con Qt", "txtQt", build.qt);

    const QString database = owner.Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb");
    Fields texts(this, owner.Traduci(QStringLiteral("Testi")), "fraTesti");
    texts.add(owner, "Versione del formato", "txtFormato", privateapi::textDatabaseFacts(database).formatVersion);

    auto* leave = new QPushButton(exitIcon(), owner.Traduci(QStringLiteral("Esci")), this);
    leave->setObjectName(QStringLiteral("cmdEsci"));
    leave->setToolTip(owner.Traduci(QStringLiteral("esc")));
    leave->setDefault(true);
    connect(leave, &QPushButton::clicked, this, &QDialog::reject);
    // The fields are for reading: no caret in the first of them.
    leave->setFocus();

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(leave);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(product.group());
    layout->addWidget(library.group());
    layout->addWidget(texts.group());
    layout->addSpacing(8);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void FormVersioni::showEvent(QShowEvent* event) {
    ModalForm::showEvent(event);
    if (!centred_) {
        centreOnScreen();
        centred_ = true;
    }
}

}  // namespace paramcor::ui

#include "ui/info/FormInformazioni.h"

#include "param/PrivateApi.h"
#include "ui/info/SupportMail.h"
#include "ui/common/Globe.h"
#include "ui/common/Mail.h"

#include <CVLParamcor/Parametri.h>

#include <QClipboard>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace paramcor::ui {
namespace {

constexpr int kPictureSize = 80;

QLabel* valueLabel(QWidget* parent, const char* name, const QString& text) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(QLatin1String(name));
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    label->setOpenExternalLinks(true);
    return label;
}

QString link(const QString& target, const QString& shown) {
    return shown.isEmpty() ? QString()
                           : QStringLiteral("<a href=\"%1\">%2</a>").arg(target.toHtmlEscaped(), shown.toHtmlEscaped());
}

}  // namespace

FormInformazioni::FormInformazioni(Parametri& owner, const QString& program, const QString& version, QWidget* parent)
    : ModalForm(parent), owner_(owner), program_(program), version_(version) {
    setObjectName(QStringLiteral("FormInformazioni"));
    setWindowTitle(owner_.Traduci(QStringLiteral("Informazioni su")) + u' ' + program_);

    auto* picture = new QLabel(this);
    picture->setObjectName(QStringLiteral("picLogo"));
    picture->setPixmap(QPixmap::fromImage(globeFrame(1, kPictureSize)));
    picture->setFixedSize(kPictureSize, kPictureSize);

    auto* name = valueLabel(this, "lblProgramma", program_);
    QFont large = name->font();
    large.setBold(true);
    large.setPointSizeF(large.pointSizeF() * 1.5);
    name->setFont(large);

    auto* versions = new QFormLayout;
    versions->addRow(owner_.Traduci(QStringLiteral("Versione")) + u':', valueLabel(this, "lblVersione", version_));
    versions->addRow(owner_.Traduci(QStringLiteral("Versione del prodotto")) + u':',
                     valueLabel(this, "lblProdotto", owner_.VersioneProdotto()));
    versions->addRow(QStringLiteral("CVLParamcor:"), valueLabel(this, "lblLibreria", privateapi::buildInfo().version));

    QString supplier, telephone, address, site;
    owner_.DatiFornitore(supplier, telephone, address, site);
    const QString support = mail::readSettings(owner_).recipient;
    auto* contacts = new QGroupBox(owner_.Traduci(QStringLiteral("Fornitore")), this);
    contacts->setObjectName(QStringLiteral("fraFornitore"));
    auto* contactRows = new QFormLayout(contacts);
    contactRows->addRow(owner_.Traduci(QStringLiteral("Nome")) + u':', valueLabel(this, "lblFornitore", supplier));
    contactRows->addRow(owner_.Traduci(QStringLiteral("Telefono")) + u':', valueLabel(this, "lblTelefono", telephone));
    contactRows->addRow(owner_.Traduci(QStringLiteral("Indirizzo")) + u':', valueLabel(this, "lblIndirizzo", address));
    const QString web = site.contains(QLatin1String("://")) ? site : QStringLiteral("https://") + site;
    contactRows->addRow(owner_.Traduci(QStringLiteral("Sito web")) + u':',
                        valueLabel(this, "lblSito", link(web, site)));
    contactRows->addRow(owner_.Traduci(QStringLiteral("Assistenza")) + u':',
                        valueLabel(this, "lblAssistenza", link(QStringLiteral("mailto:") + support, support)));

    auto* system = new QPushButton(owner_.Traduci(QStringLiteral("Informazioni di sistema")), this);
    system->setObjectName(QStringLiteral("cmdSistema"));
    system->setAutoDefault(false);
    connect(system, &QPushButton::clicked, this, [this] { guarded([this] { showSystemInformation(); }); });

    auto* leave = new QPushButton(exitIcon(), owner_.Traduci(QStringLiteral("Esci")), this);
    leave->setObjectName(QStringLiteral("cmdEsci"));
    leave->setToolTip(owner_.Traduci(QStringLiteral("esc")));
    leave->setDefault(true);
    connect(leave, &QPushButton::clicked, this, &QDialog::reject);

    panel_ = new QGroupBox(owner_.Traduci(QStringLiteral("Informazioni di sistema")), this);
    panel_->setObjectName(QStringLiteral("fraSistema"));
    list_ = new QTreeWidget(panel_);
    list_->setObjectName(QStringLiteral("lstSistema"));
    list_->setColumnCount(2);
    list_->setHeaderHidden(true);
    list_->setRootIsDecorated(false);
    list_->setMinimumSize(720, 360);
    // Long paths scroll rather than being cut short.
    list_->header()->setStretchLastSection(false);
    auto* copy = new QPushButton(owner_.Traduci(QStringLiteral("Copia")), panel_);
    copy->setObjectName(QStringLiteral("cmdCopia"));
    copy->setToolTip(owner_.Traduci(QStringLiteral("Copia le informazioni negli appunti")));
    copy->setAutoDefault(false);
    connect(copy, &QPushButton::clicked, this, [this] { Copia(); });
    auto* send = new QPushButton(owner_.Traduci(QStringLiteral("Invia")), panel_);
    send->setObjectName(QStringLiteral("cmdInvia"));
    send->setToolTip(owner_.Traduci(QStringLiteral("Invia le informazioni all'assistenza")));
    send->setAutoDefault(false);
    connect(send, &QPushButton::clicked, this, [this] { guarded([this] { Invia(); }); });
    auto* panelButtons = new QHBoxLayout;
    panelButtons->addStretch(1);
    panelButtons->addWidget(copy);
    panelButtons->addWidget(send);
    auto* panelLayout = new QVBoxLayout(panel_);
    panelLayout->addWidget(list_);
    panelLayout->addLayout(panelButtons);
    panel_->hide();

    auto* heading = new QVBoxLayout;
    heading->addWidget(name);
    heading->addLayout(versions);
    heading->addStretch(1);
    auto* top = new QHBoxLayout;
    top->addWidget(picture, 0, Qt::AlignTop);
    top->addSpacing(12);
    top->addLayout(heading, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(system);
    buttons->addStretch(1);
    buttons->addWidget(leave);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(contacts);
    layout->addWidget(panel_, 1);
    layout->addSpacing(8);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void FormInformazioni::showEvent(QShowEvent* event) {
    ModalForm::showEvent(event);
    if (!centred_) {
        centreOnScreen();
        centred_ = true;
    }
}

void FormInformazioni::showSystemInformation() {
    if (text_.isEmpty()) {
        const info::SystemInformation facts = privateapi::systemInformation(owner_, program_, version_, &text_);
        for (const info::Section& section : facts.sections()) {
            auto* heading = new QTreeWidgetItem(list_, {section.title});
            QFont bold = heading->font(0);
            bold.setBold(true);
            heading->setFont(0, bold);
            heading->setFirstColumnSpanned(true);
            for (const info::Line& line : section.lines)
                new QTreeWidgetItem(heading, {line.label, line.value});
        }
        list_->expandAll();
        list_->resizeColumnToContents(0);
        list_->resizeColumnToContents(1);
    }
    panel_->show();
    if (isVisible())
        centreOnScreen();
}

void FormInformazioni::Copia() {
    QGuiApplication::clipboard()->setText(text_);
}

void FormInformazioni::Invia() {
    mailToSupport(owner_, program_ + u' ' + version_, text_, windowTitle());
}

}  // namespace paramcor::ui

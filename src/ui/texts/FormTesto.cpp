#include "ui/texts/FormTesto.h"

#include "ui/common/Mail.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

namespace paramcor::ui {
namespace {

constexpr int kItalianRole = Qt::UserRole;
constexpr int kTranslationRole = Qt::UserRole + 1;

void setBackground(QWidget* widget, const QColor& colour) {
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Base, colour);
    widget->setPalette(palette);
}

}  // namespace

FormTesto::FormTesto(Parametri& owner, QWidget* parent)
    : ModalForm(parent), owner_(owner) {
    setObjectName(QStringLiteral("FormTesto"));
    const short language = owner_.Lingua();
    setWindowTitle(owner_.Traduci(QStringLiteral("Cambio Testo")));

    auto* label1 = new QLabel(owner_.Traduci(QStringLiteral("Scrivere qui il testo in ITALIANO da tradurre")), this);
    label1->setObjectName(QStringLiteral("Label1"));
    auto* label2 =
        new QLabel(owner_.Traduci(QStringLiteral("Scrivere qui il testo SBAGLIATO da cercare e da correggere")), this);
    label2->setObjectName(QStringLiteral("Label2"));
    testo1_ = new QLineEdit(this);
    testo1_->setObjectName(QStringLiteral("Testo1"));
    testo2_ = new QLineEdit(this);
    testo2_->setObjectName(QStringLiteral("Testo2"));
    // Each search gives the list the colour of its box, so the list shows which column it holds.
    setBackground(testo1_, QColor(0xff, 0xfb, 0xe0));
    setBackground(testo2_, QColor(0xe4, 0xf1, 0xff));
    label1->setBuddy(testo1_);
    label2->setBuddy(testo2_);

    const auto button = [this](const char* name, const QString& caption) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);
        return b;
    };
    QPushButton* cerca1 = button("Cerca1", owner_.Traduci(QStringLiteral("&Cerca")));
    QPushButton* cerca2 = button("Cerca2", owner_.Traduci(QStringLiteral("&Cerca")));
    aggiorna_ = button("Aggiorna", owner_.Traduci(QStringLiteral("Aggiorna")));
    aggiorna_->setToolTip(owner_.Traduci(QStringLiteral("Aggiorno il testo che ho corretto")));
    aggiorna_->setIcon(confirmIcon());
    aggiorna_->setEnabled(false);
    QPushButton* mail = button("Mail", owner_.Traduci(QStringLiteral("Invia E-Mail")));
    mail->setToolTip(owner_.Traduci(QStringLiteral("Invio alla CORVEL le mie traduzioni e correzioni")));

    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("List1"));
    list_->setMinimumSize(520, 240);

    auto* layout = new QGridLayout(this);
    layout->addWidget(label1, 0, 0, 1, 2);
    layout->addWidget(testo1_, 1, 0);
    layout->addWidget(cerca1, 1, 1);
    layout->addWidget(label2, 2, 0, 1, 2);
    layout->addWidget(testo2_, 3, 0);
    layout->addWidget(cerca2, 3, 1);
    layout->addWidget(list_, 4, 0, 3, 1);
    layout->addWidget(aggiorna_, 4, 1, Qt::AlignTop);
    layout->addWidget(mail, 5, 1, Qt::AlignTop);
    layout->setRowStretch(6, 1);
    layout->setColumnStretch(0, 1);

    connect(cerca1, &QPushButton::clicked, this, [this] { guarded([this] { Cerca(testo1_, false); }); });
    connect(cerca2, &QPushButton::clicked, this, [this] { guarded([this] { Cerca(testo2_, true); }); });
    connect(list_, &QListWidget::itemSelectionChanged, this, [this] { selectEntry(); });
    connect(aggiorna_, &QPushButton::clicked, this, [this] { guarded([this] { Aggiorna(); }); });
    connect(mail, &QPushButton::clicked, this, [this] { guarded([this] { Mail(); }); });

    const QString path = owner_.Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb");
    if (!QFileInfo(path).isFile()) {
        platform().messages->show(QStringLiteral("Missing ") + path, mb::Critical, windowTitle());
        for (QPushButton* b : {cerca1, cerca2, mail})
            b->setEnabled(false);
        return;
    }
    corrections_ = std::make_unique<texts::Corrections>(path, language);
}

void FormTesto::Cerca(QLineEdit* text, bool inTranslation) {
    list_->clear();
    list_->hide();
    aggiorna_->setEnabled(false);
    for (const texts::TextEntry& entry : corrections_->search(text->text(), inTranslation))
        addEntry(entry);
    setBackground(list_, text->palette().color(QPalette::Base));
    list_->show();
}

void FormTesto::addEntry(const texts::TextEntry& entry) {
    auto* item = new QListWidgetItem(entry.shown, list_);
    item->setData(kItalianRole, entry.italian);
    item->setData(kTranslationRole, entry.translation);
}

void FormTesto::selectEntry() {
    const QListWidgetItem* item = list_->currentItem();
    if (item == nullptr || !item->isSelected())
        return;
    testo1_->setText(item->data(kItalianRole).toString());
    testo2_->setText(item->data(kTranslationRole).toString());
    aggiorna_->setEnabled(true);
}

void FormTesto::Aggiorna() {
    QListWidgetItem* item = list_->currentItem();
    if (item == nullptr || !corrections_)
        return;
    const QString corrected = testo2_->text();
    corrections_->correct(item->data(kItalianRole).toString(), corrected);
    item->setText(corrected);
    item->setData(kTranslationRole, corrected);
}

void FormTesto::Mail() {
    const std::vector<texts::CorrectionMail> mails = corrections_->mails(QDateTime::currentDateTime());
    if (mails.empty()) {
        platform().messages->show(owner_.Traduci(QStringLiteral("Non ci sono testi tradotti da inviare")),
                                  mb::Information, windowTitle());
        return;
    }

    const mail::Settings settings = mail::readSettings(owner_);
    const bool toOutbox = settings.server.isEmpty();
    const QString outbox = QDir::toNativeSeparators(mail::outboxFolder());
    list_->clear();
    aggiorna_->setEnabled(false);

    for (std::size_t k = 0; k < mails.size(); ++k) {
        const texts::CorrectionMail& correction = mails[k];
        for (const texts::TextEntry& entry : correction.entries)
            addEntry(entry);
        list_->scrollToBottom();
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);

        const mail::Message message{settings.sender, settings.recipient, correction.subject, correction.body};
        QString failure;
        if (toOutbox) {
            if (mail::writeToOutbox(outbox, correction.fileName, message).isEmpty())
                failure = owner_.Traduci(QStringLiteral("Impossibile scrivere nella cartella")) + u' ' + outbox;
        } else {
            failure = mail::sendSmtp(settings, message);
        }
        if (!failure.isEmpty()) {
            QStringList sent;
            QStringList unsent;
            for (std::size_t j = 0; j < mails.size(); ++j)
                (j < k ? sent : unsent) << mails[j].number;
            platform().messages->show(
                owner_.Traduci(QStringLiteral("Invio E-Mail non riuscito")) + QStringLiteral(": ") + failure + u'\n' +
                    owner_.Traduci(QStringLiteral("Mail inviate")) + QStringLiteral(": ") +
                    (sent.isEmpty() ? QStringLiteral("-") : sent.join(QStringLiteral(", "))) + u'\n' +
                    owner_.Traduci(QStringLiteral("Mail non inviate")) + QStringLiteral(": ") +
                    unsent.join(QStringLiteral(", ")),
                mb::Critical, windowTitle());
            return;
        }
    }
    if (toOutbox)
        platform().messages->show(
            owner_.Traduci(QStringLiteral("Nessun server di posta configurato: le mail sono nella cartella")) + u'\n' +
                outbox,
            mb::Information, windowTitle());
}

}  // namespace paramcor::ui

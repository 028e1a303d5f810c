#include "texts/ui/FormTesto.h"

#include "texts/TextTable.h"
#include "texts/ui/mail/Mail.h"

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

#include <sqlite3.h>

namespace paramcor::ui {
namespace {

constexpr int kItalianRole = Qt::UserRole;
constexpr int kTranslationRole = Qt::UserRole + 1;

// contiene(text, part): whether `part` occurs in `text` without regard to case,
// for every alphabet (SQLite's LIKE folds ASCII letters only).
void containsFunction(sqlite3_context* context, int, sqlite3_value** values) {
    const auto* text = static_cast<const char16_t*>(sqlite3_value_text16(values[0]));
    const auto* part = static_cast<const char16_t*>(sqlite3_value_text16(values[1]));
    if (text == nullptr || part == nullptr) {
        sqlite3_result_int(context, 0);
        return;
    }
    const QString haystack = QString::fromUtf16(text, sqlite3_value_bytes16(values[0]) / 2);
    const QString needle = QString::fromUtf16(part, sqlite3_value_bytes16(values[1]) / 2);
    sqlite3_result_int(context, haystack.contains(needle, Qt::CaseInsensitive) ? 1 : 0);
}

void setBackground(QWidget* widget, const QColor& colour) {
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Base, colour);
    widget->setPalette(palette);
}

}  // namespace

FormTesto::FormTesto(Parametri& owner, QWidget* parent)
    : ModalForm(parent), owner_(owner), language_(owner.Lingua()) {
    setObjectName(QStringLiteral("FormTesto"));
    setWindowTitle(owner_.Traduci(QStringLiteral("Cambio Testo")));
    languageColumn_ = texts::languageColumn(language_ >= 1 && language_ <= texts::kLanguages ? language_ : 1);

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

    connect(cerca1, &QPushButton::clicked, this, [this] { guarded([this] { Cerca(testo1_, texts::languageColumn(1)); }); });
    connect(cerca2, &QPushButton::clicked, this, [this] { guarded([this] { Cerca(testo2_, languageColumn_); }); });
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
    db_ = SqlDatabase(path, SqlDatabase::Mode::ReadWrite);
    sqlite3_create_function_v2(db_.handle(), "contiene", 2, SQLITE_UTF16 | SQLITE_DETERMINISTIC, nullptr,
                               &containsFunction, nullptr, nullptr, nullptr);
}

void FormTesto::Cerca(QLineEdit* text, const QString& column) {
    list_->clear();
    list_->hide();
    aggiorna_->setEnabled(false);
    EseguiCerca(text->text(), column);
    setBackground(list_, text->palette().color(QPalette::Base));
    list_->show();
}

void FormTesto::EseguiCerca(const QString& text, const QString& column) {
    // The text is bound, never written into the SQL: apostrophes and bars need nothing.
    const QString sql = QStringLiteral("SELECT TESTO_01, %1, %2 FROM Testi WHERE contiene(%2, ?1) ORDER BY %2 ASC")
                            .arg(languageColumn_, column);
    SqlStatement select = db_.prepare(sql.toUtf8().constData());
    select.bind(1, text.isNull() ? QStringLiteral("") : text);
    while (select.step()) {
        auto* item = new QListWidgetItem(select.text(2), list_);
        item->setData(kItalianRole, select.text(0));
        item->setData(kTranslationRole, select.text(1));
    }
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
    if (item == nullptr || !db_)
        return;
    const QString italian = item->data(kItalianRole).toString();
    const QString corrected = testo2_->text();
    // Every program's row with this wording takes the correction.
    const QString sql = QStringLiteral("UPDATE Testi SET %1 = ?1, ModificatoDalCliente = 1, DataModifica = ?2 WHERE %2")
                            .arg(languageColumn_, texts::wordingIs(3));
    SqlTransaction transaction(db_);
    db_.prepare(sql.toUtf8().constData()).bind(1, corrected).bind(2, texts::today()).bind(3, italian).run();
    transaction.commit();
    item->setText(corrected);
    item->setData(kTranslationRole, corrected);
}

void FormTesto::Mail() {
    struct Correction {
        QString italian;
        QString translation;
    };
    std::vector<Correction> rows;
    {
        const QString sql =
            QStringLiteral("SELECT TESTO_01, %1 FROM Testi WHERE ModificatoDalCliente <> 0 ORDER BY TESTO_01 ASC")
                .arg(languageColumn_);
        SqlStatement select = db_.prepare(sql.toUtf8().constData());
        while (select.step())
            rows.push_back({select.text(0), select.text(1)});
    }
    if (rows.empty()) {
        platform().messages->show(owner_.Traduci(QStringLiteral("Non ci sono testi tradotti da inviare")),
                                  mb::Information, windowTitle());
        return;
    }

    const mail::Settings settings = mail::readSettings(owner_);
    const bool toOutbox = settings.server.isEmpty();
    const QString outbox = QDir::toNativeSeparators(mail::outboxFolder());
    const QString number = QString::number(language_);
    const int mails = static_cast<int>((rows.size() + kRowsPerMail - 1) / kRowsPerMail);
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    list_->clear();
    aggiorna_->setEnabled(false);

    for (int k = 1; k <= mails; ++k) {
        mail::Message message;
        message.from = settings.sender;
        message.to = settings.recipient;
        message.subject = QStringLiteral("[CVLTRAD] Lang=%1 (Mail %2/%3)").arg(number).arg(k).arg(mails);
        const std::size_t first = static_cast<std::size_t>(k - 1) * kRowsPerMail;
        const std::size_t last = std::min(rows.size(), first + kRowsPerMail);
        for (std::size_t r = first; r < last; ++r) {
            message.body += QStringLiteral("1:") + rows[r].italian + QStringLiteral(" \n") + number + u':' +
                            rows[r].translation + QStringLiteral(" \n \n");
            auto* item = new QListWidgetItem(rows[r].italian, list_);
            item->setData(kItalianRole, rows[r].italian);
            item->setData(kTranslationRole, rows[r].translation);
        }
        list_->scrollToBottom();
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);

        QString failure;
        if (toOutbox) {
            if (mail::writeToOutbox(outbox, QStringLiteral("CVLTRAD-Lang%1-%2-%3di%4").arg(number, stamp).arg(k).arg(mails),
                                    message)
                    .isEmpty())
                failure = owner_.Traduci(QStringLiteral("Impossibile scrivere nella cartella")) + u' ' + outbox;
        } else {
            failure = mail::sendSmtp(settings, message);
        }
        if (!failure.isEmpty()) {
            QStringList sent;
            QStringList unsent;
            for (int j = 1; j <= mails; ++j)
                (j < k ? sent : unsent) << QStringLiteral("%1/%2").arg(j).arg(mails);
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

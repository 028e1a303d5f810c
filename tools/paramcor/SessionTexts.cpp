#include "SessionTexts.h"

#include "Session.h"
#include "TextFile.h"

namespace paramcor::tool {

SessionTexts::SessionTexts(Session* session) : session_(session) {
    setTextSource(this);
}

SessionTexts::~SessionTexts() {
    setTextSource(nullptr);
}

// The texts are the running library's: a text asked for before a command started
// it is English, and a later one may find it started.
void SessionTexts::lookForTexts() {
    parametri_ = session_ ? session_->startedParametri() : nullptr;
    if (!parametri_)
        return;
    looked_ = true;
    session_->quietly([this] {
        const short language = parametri_->Lingua();
        try {
            TextFile file(parametri_->Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb"),
                          TextFile::Mode::ReadOnly);
            if (language < 1 || language > kLanguages)
                return;
            const QByteArray sql =
                QStringLiteral("SELECT TESTO_01, Testo_02, %1 FROM Testi WHERE Programma = 'PARAMCOR'")
                    .arg(languageColumn(language))
                    .toUtf8();
            auto select = file.prepare(sql.constData());
            while (select.step())
                if (!select.text(2).trimmed().isEmpty())
                    italianOf_.insert(select.text(1), select.text(0));
        } catch (const std::exception&) {
            italianOf_.clear();  // no texts: English
        }
    });
}

QString SessionTexts::translate(const QString& english) {
    if (!looked_)
        lookForTexts();
    const auto row = italianOf_.constFind(english);
    if (row == italianOf_.constEnd() || row->isEmpty())
        return {};
    QString translated;
    session_->quietly([&] { translated = parametri_->Traduci(*row); });
    return translated;
}

}  // namespace paramcor::tool

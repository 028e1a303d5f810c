#include "Wording.h"

#include "Session.h"
#include "TextFile.h"

#include <QHash>

namespace paramcor::tool {
namespace {

struct Texts {
    Session* session = nullptr;
    bool looked = false;
    bool looking = false;  // what is said while the texts are being found is English
    Parametri* par = nullptr;
    short language = 0;
    QHash<QString, QString> italianOf;  // the tool's rows translated into the language: English -> Italian wording
};

Texts& texts() {
    static Texts instance;
    return instance;
}

void lookForTexts(Texts& t) {
    t.par = t.session ? t.session->startedParametri() : nullptr;
    if (!t.par)
        return;  // not yet: a later text may find the library started
    t.looked = true;
    t.session->quietly([&t] {
        t.language = t.par->Lingua();
        try {
            TextFile file(t.par->Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb"),
                          TextFile::Mode::ReadOnly);
            if (t.language < 1 || t.language > kLanguages)
                return;
            const QByteArray sql =
                QStringLiteral("SELECT TESTO_01, Testo_02, %1 FROM Testi WHERE Programma = 'PARAMCOR'")
                    .arg(languageColumn(t.language))
                    .toUtf8();
            auto select = file.prepare(sql.constData());
            while (select.step())
                if (!select.text(2).trimmed().isEmpty())
                    t.italianOf.insert(select.text(1), select.text(0));
        } catch (const std::exception&) {
            t.italianOf.clear();  // no texts: English
        }
    });
}

}  // namespace

void setTextSource(Session* session) {
    texts() = Texts{};
    texts().session = session;
}

QString tr(const QString& english) {
    Texts& t = texts();
    if (t.looking)
        return english;
    if (!t.looked) {
        t.looking = true;
        lookForTexts(t);
        t.looking = false;
        if (!t.looked)
            return english;
    }
    const auto row = t.italianOf.constFind(english);
    if (row == t.italianOf.constEnd() || row->isEmpty())
        return english;
    QString translated;
    t.session->quietly([&] { translated = t.par->Traduci(*row); });
    return translated.trimmed().isEmpty() ? english : translated;
}

}  // namespace paramcor::tool

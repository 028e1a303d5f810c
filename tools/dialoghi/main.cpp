// The library's windows on the sample installation: the language window, the
// units window, the currency window, the text correction window, the folder
// editor, the dependency dialog, the about and versions windows and a message
// box, as a program of the suite that links CVLParamcorUi shows them.
//
//     paramcor-dialoghi [--lingua N] [--cartella FOLDER]
//                       [lingua|misure|valuta|testo|percorsi|dipendenze|informazioni|versioni|messaggio]
//     paramcor-dialoghi --screenshots OUTDIR
//
// FOLDER receives the installation and the registry store (a temporary folder
// when omitted), so that a second run on it finds the language and units the
// first one chose. --lingua sets the language first (1 Italiano, 2 English ...).
// --screenshots renders each window in Italian and in English to
// OUTDIR/<window>-it.png and -en.png, on whatever platform Qt runs on (offscreen
// for scripts), and fails when a window cannot be rendered.
#include "ui/folders/FormDipendenze.h"
#include "ui/info/FormInformazioni.h"
#include "ui/texts/FormTesto.h"
#include "ui/units/FormMisure.h"
#include "ui/units/FormValuta.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QListWidget>
#include <QPainter>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <functional>
#include <sqlite3.h>

using namespace paramcor;

namespace {

// The sample installation in a folder of its own, with a numbered folder of
// "Testi" for each language that its texts carry, so that those languages show
// as installed in the language window.
QString installSample(const QString& folder) {
    const QString installation = folder + "/CVL";
    if (QFile::exists(installation + "/ParamCor.txt"))
        return installation;
    QDir().mkpath(installation + "/Testi");
    QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/ParamCor.txt", installation + "/ParamCor.txt");
    QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/Testi/CvlTrad.mdb", installation + "/Testi/CvlTrad.mdb");
    for (int language = 1; language <= 5; ++language) {
        const QString numbered = installation + "/Testi/" + QString::number(language);
        QDir().mkpath(numbered);
        QFile marker(numbered + "/LEGGIMI.txt");
        if (marker.open(QIODevice::WriteOnly))
            marker.write("Testi della lingua " + QByteArray::number(language) + "\n");
    }
    return installation;
}

// The dependency dialog as the folder editor fills it when the drawings move.
int showDependencies(Parametri& par) {
    ui::FormDipendenze form(par);
    const QStringList dependents{"DXF", "DWG", "IGES", "EPS", "PLT", "DEF", "DFF", "DFFGruppo", "DFFLocale"};
    for (const QString& name : dependents) {
        auto* item = new QListWidgetItem(name + QStringLiteral("  →  /dati/Disegni/") + name + u'/', form.List1());
        item->setSelected(!name.startsWith(u'D'));
    }
    form.run();
    std::printf("FormDipendenze: %s\n", form.confirmed() ? "confirmed" : "left");
    for (int i = 0; i < form.List1()->count(); ++i)
        if (form.List1()->item(i)->isSelected())
            std::printf("  %s\n", qUtf8Printable(form.List1()->item(i)->text()));
    return 0;
}

void printUnitRows(const QString& installation, short language) {
    sqlite3* db = nullptr;
    const QString path = installation + "/Testi/CvlTradU.mdb";
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        const QByteArray column =
            (language == 1 ? QByteArray("TESTO_01") : "Testo_" + QByteArray::number(language).rightJustified(2, '0'));
        const QByteArray sql =
            "SELECT Progressivo, " + column + " FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo";
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, sql.constData(), -1, &statement, nullptr) == SQLITE_OK) {
            std::printf("Unit settings rows, language %d:\n", language);
            while (sqlite3_step(statement) == SQLITE_ROW)
                std::printf("  %s  \"%s\"\n", reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)),
                            reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)));
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
}

// A picture of a window with its caption above it: offscreen windows have no
// frame of their own, and the caption is part of what a reviewer checks.
QImage withCaption(QWidget* window) {
    const QPixmap content = window->grab();
    QFont font = window->font();
    font.setBold(true);
    const int bar = QFontMetrics(font).height() + 10;
    QImage image(content.width() + 2, content.height() + bar + 1, QImage::Format_ARGB32);
    image.fill(QColor(0x3a, 0x5f, 0x8f));
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(10, 0, image.width() - 20, bar), Qt::AlignVCenter | Qt::AlignLeft, window->windowTitle());
    painter.drawPixmap(1, bar, content);
    return image;
}

// Saves the next modal window to `path` and closes it; false when none came.
bool captureNextModal(const std::function<void()>& open, const QString& path) {
    bool saved = false;
    int attempts = 0;
    QTimer poll;
    poll.setInterval(50);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        QWidget* window = QApplication::activeModalWidget();
        if (window == nullptr) {
            if (++attempts > 200)
                poll.stop();
            return;
        }
        poll.stop();
        QApplication::processEvents();
        saved = withCaption(window).save(path);
        window->close();
    });
    poll.start();
    open();
    return saved;
}

// The version records an installed suite leaves on the machine, for the windows
// that show them; records already there are kept.
void recordSampleVersions(Parametri& par) {
    if (!par.VersioneProdotto().isEmpty())
        return;
    par.VersioneProdotto(QStringLiteral("2026.2"));
    par.VersioneProdottoMarmo(QStringLiteral("2026.2.3"));
    par.VersioneProdottoVetro(QStringLiteral("2026.1.7"));
    par.VersioneProdottoVetroCam(QStringLiteral("2026.1.2"));
}

const QString kSampleProgram = QStringLiteral("Taglio");
const QString kSampleVersion = QStringLiteral("2026.2.3");

int takeScreenshots(const QString& out) {
    QDir().mkpath(out);
    Parametri par;
    recordSampleVersions(par);
    const std::pair<short, const char*> languages[] = {{1, "it"}, {2, "en"}};
    int failures = 0;
    for (const auto& [language, suffix] : languages) {
        par.Lingua(language);
        const QString tail = QStringLiteral("-%1.png").arg(QString::fromLatin1(suffix));
        const std::pair<const char*, std::function<void()>> windows[] = {
            {"FormLingua", [&] { par.CambiaLingua(); }},
            {"FormMisure", [] { ui::FormMisure(nullptr).run(); }},
            {"FormValuta", [&] { ui::FormValuta(par).run(); }},
            // Opened directly: CambiaTesto shows nothing in Italian.
            {"FormTesto", [&] { ui::FormTesto(par).run(); }},
            {"FormPercorsi", [&] { par.CambiaPercorsi(); }},
            {"FormDipendenze", [&] { showDependencies(par); }},
            {"FormInformazioni", [&] { par.Informazioni(kSampleProgram, kSampleVersion); }},
            {"InformazioniSistema",
             [&] {
                 ui::FormInformazioni form(par, kSampleProgram, kSampleVersion);
                 form.showSystemInformation();
                 form.run();
             }},
            {"FormVersioni", [&] { par.Versioni(); }},
            {"Messaggio",
             [&] {
                 platform().messages->show(par.Traduci("Ripristino dati originali") + u'?',
                                           mb::YesNo | mb::Question | mb::DefaultButton2,
                                           par.Traduci("Unità di misura"));
             }},
        };
        for (const auto& [name, open] : windows) {
            const QString path = out + u'/' + QString::fromLatin1(name) + tail;
            if (captureNextModal(open, path)) {
                std::printf("%s\n", qUtf8Printable(QDir::current().relativeFilePath(path)));
            } else {
                std::fprintf(stderr, "could not render %s\n", qUtf8Printable(path));
                ++failures;
            }
        }
    }
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QStringList arguments = QApplication::arguments().mid(1);

    QString screenshots;
    QString folderArgument;
    short language = 0;
    QString window = QStringLiteral("lingua");
    while (!arguments.isEmpty()) {
        const QString argument = arguments.takeFirst();
        if (argument == "--screenshots" && !arguments.isEmpty())
            screenshots = arguments.takeFirst();
        else if (argument == "--cartella" && !arguments.isEmpty())
            folderArgument = arguments.takeFirst();
        else if (argument == "--lingua" && !arguments.isEmpty())
            language = static_cast<short>(arguments.takeFirst().toInt());
        else if (QStringList{"lingua", "misure", "valuta", "testo", "percorsi", "dipendenze", "informazioni",
                             "versioni", "messaggio"}
                     .contains(argument))
            window = argument;
        else {
            std::fprintf(stderr,
                         "usage: paramcor-dialoghi [--lingua N] [--cartella FOLDER]\n"
                         "                         "
                         "[lingua|misure|valuta|testo|percorsi|dipendenze|informazioni|versioni|messaggio]\n"
                         "       paramcor-dialoghi --screenshots OUTDIR\n");
            return 2;
        }
    }

    QTemporaryDir temporary;
    const QString folder = folderArgument.isEmpty() ? temporary.path() : QDir(folderArgument).absolutePath();
    Platform p;
    p.registry = std::make_shared<SqliteRegistryStore>((folder + "/registry").toStdString());
    p.libraryFolder = installSample(folder);
    installPlatform(p);

    if (!screenshots.isEmpty())
        return takeScreenshots(QDir(screenshots).absolutePath());

    try {
        Parametri par;
        if (language > 0)
            par.Lingua(language);
        if (window == "lingua") {
            const bool changed = par.CambiaLingua();
            std::printf("CambiaLingua: %s, Lingua = %d\n", changed ? "True" : "False", par.Lingua());
        } else if (window == "misure") {
            const int result = ui::FormMisure(nullptr).run();
            std::printf("FormMisure: %s\n", result == QDialog::Accepted ? "confirmed" : "left");
        } else if (window == "valuta") {
            const auto currency = ui::FormValuta::ask(par).value_or(ui::NewCurrency{});
            std::printf("FormValuta: NuovoSimbolo \"%s\", NuovaDescrizione \"%s\"\n", qUtf8Printable(currency.symbol),
                        qUtf8Printable(currency.name));
        } else if (window == "testo") {
            ui::FormTesto(par).run();
        } else if (window == "percorsi") {
            const bool changed = par.CambiaPercorsi();
            std::printf("CambiaPercorsi: %s\n", changed ? "True" : "False");
        } else if (window == "dipendenze") {
            showDependencies(par);
        } else if (window == "informazioni") {
            recordSampleVersions(par);
            par.Informazioni(kSampleProgram, kSampleVersion);
        } else if (window == "versioni") {
            recordSampleVersions(par);
            par.Versioni();
        } else {
            const int answer = platform().messages->show(par.Traduci("Ripristino dati originali") + u'?',
                                                         mb::YesNo | mb::Question | mb::DefaultButton2,
                                                         par.Traduci("Unità di misura"));
            std::printf("Answer: %d (6 Yes, 7 No)\n", answer);
        }
        printUnitRows(p.libraryFolder, par.Lingua());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "paramcor-dialoghi: %s\n", error.what());
        return 1;
    }
    return 0;
}

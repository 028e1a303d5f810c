#include "WindowTesting.h"

#include <QAction>
#include <QApplication>
#include <QTimer>
#include <QToolBar>
#include <QtTest/QTest>

namespace paramcor::test {
namespace {

// Italian, English, German.
const char* const kWordings[][3] = {
    {"Cambio Lingua", "Language", "Sprache"},
    {"Conferma", "Confirm", "Bestätigen"},
    {"Esci", "Exit", "Beenden"},
    {"Unità di misura", "Units", "Einheiten"},
    {"Sistema Anglosassone", "Imperial", "Angloamerikanisch"},
    {"per calcolo peso", "for weights", "für Gewichte"},
    {"Simbolo", "Sign", "Zeichen"},
    {"Esempio", "Example", "Beispiel"},
    {"pollici", "inches", "Zoll"},
    {"Inserire", "Enter", "Eingeben"},
    {"Applico valori impostati a tutte le lingue", "Applied to every language", "Für alle Sprachen"},
    {"Descrizione", "Name", "Bezeichnung"},
    {"Attenzione", "Warning", "Achtung"},
    {"Inserire tutti i dati", "Fill in everything", "Alles ausfüllen"},
    {"&Cerca", "&Find", "&Suchen"},
    {"Dipendenze", "Dependent folders", "Abhängige Ordner"},
};

}  // namespace

std::vector<TextRow> windowTexts() {
    std::vector<TextRow> rows;
    int key = 0;
    for (const auto& w : kWordings) {
        TextRow row{"CVLPARAMCOR", QStringLiteral("T%1").arg(++key, 3, 10, QLatin1Char('0')), QString::fromUtf8(w[0]),
                    QString::fromUtf8(w[1])};
        row.tedesco = QString::fromUtf8(w[2]);
        rows.push_back(row);
    }
    return rows;
}

QString windowText(const QString& italian, short language) {
    for (const auto& w : kWordings)
        if (QString::fromUtf8(w[0]) == italian)
            return QString::fromUtf8(w[language - 1]);
    ADD_FAILURE() << "no test wording " << italian.toStdString();
    return italian;
}

WindowInstallation::WindowInstallation(const std::vector<TextRow>& texts) {
    platform_.writeInstallationFile(
        "REGISTRYROOT = Corvel\r\n"
        "FOLDERS = 1\r\n"
        "FOLDER1 = Testi, <PROGRAM>Testi, TESTI\r\n");
    writeTextFile(textDatabase(), texts);
}

void WindowInstallation::setLanguage(short language) {
    Parametri par;
    par.Lingua(language);
}

// Looks for a new modal window a few times a second, from the event loop that
// the code under test runs.
void onNextModal(const std::function<void(QWidget*)>& action) {
    auto* timer = new QTimer(qApp);
    QWidget* before = QApplication::activeModalWidget();
    QObject::connect(timer, &QTimer::timeout, [timer, before, action, attempts = 0]() mutable {
        QWidget* window = QApplication::activeModalWidget();
        const bool found = window != nullptr && window != before && window->isVisible();
        if (!found && ++attempts < 2000)
            return;
        timer->stop();
        timer->deleteLater();
        if (!found) {
            ADD_FAILURE() << "no modal window opened";
            return;
        }
        action(window);
        if (::testing::Test::HasFailure() && window->isVisible())
            window->close();
    });
    timer->start(5);
}

void activate(QWidget* window) {
    window->show();
    window->activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
}

void clickToolbarButton(QWidget* window, const QString& key) {
    auto* action = child<QAction>(window, key);
    auto* toolbar = action ? qobject_cast<QToolBar*>(action->parent()) : nullptr;
    ASSERT_NE(toolbar, nullptr);
    QTest::mouseClick(toolbar->widgetForAction(action), Qt::LeftButton);
}

}  // namespace paramcor::test

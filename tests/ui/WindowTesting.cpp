#include "WindowTesting.h"

#include <QAction>
#include <QApplication>
#include <QTimer>
#include <QToolBar>
#include <QtTest/QTest>

namespace paramcor::test {
namespace {

struct Wording {
    const char* italian;
    const char* english;
    const char* german;
};

const Wording kWordings[] = {
    {"Cambio Lingua", "Language", "Sprache"},
    {"Conferma", "Confirm", "Bestätigen"},
    {"esc", "leave it", "verlassen"},
    {"Esci", "Exit", "Beenden"},
    {"Unità di misura", "Units", "Einheiten"},
    {"Sistema Anglosassone", "Imperial", "Angloamerikanisch"},
    {"Default", "Defaults", "Standard"},
    {"Valuta", "Currency", "Währung"},
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
    {"Invio alla CORVEL le mie traduzioni e correzioni", "Send my corrections", "Korrekturen senden"},
    {"Dipendenze", "Dependent folders", "Abhängige Ordner"},
    {"Tutto", "All", "Alle"},
};

}  // namespace

std::vector<TextRow> windowTexts() {
    std::vector<TextRow> rows;
    int key = 0;
    for (const Wording& w : kWordings) {
        TextRow row{"CVLPARAMCOR", QStringLiteral("T%1").arg(++key, 3, 10, QLatin1Char('0')),
                    QString::fromUtf8(w.italian), QString::fromUtf8(w.english)};
        row.tedesco = QString::fromUtf8(w.german);
        rows.push_back(row);
    }
    return rows;
}

QString windowText(const QString& italian, short language) {
    for (const Wording& w : kWordings)
        if (QString::fromUtf8(w.italian) == italian)
            return QString::fromUtf8(language == 2 ? w.english : language == 3 ? w.german : w.italian);
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

namespace {

// Looks for a new modal window a few times a second, from the event loop that
// the code under test runs.
class ModalWatcher final : public QObject {
public:
    explicit ModalWatcher(std::function<void(QWidget*)> action)
        : QObject(qApp), action_(std::move(action)), before_(QApplication::activeModalWidget()) {
        connect(&timer_, &QTimer::timeout, this, [this] { look(); });
        timer_.start(5);
    }

private:
    void look() {
        QWidget* window = QApplication::activeModalWidget();
        if (window == nullptr || window == before_ || !window->isVisible()) {
            if (++attempts_ == 2000) {
                timer_.stop();
                deleteLater();
                ADD_FAILURE() << "no modal window opened";
            }
            return;
        }
        timer_.stop();
        deleteLater();
        action_(window);
        if (::testing::Test::HasFailure() && window->isVisible())
            window->close();
    }

    std::function<void(QWidget*)> action_;
    QWidget* before_;
    QTimer timer_;
    int attempts_ = 0;
};

}  // namespace

void onNextModal(const std::function<void(QWidget*)>& action) {
    new ModalWatcher(action);
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

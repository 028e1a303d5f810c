#include "WindowTesting.h"

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <QAction>
#include <QApplication>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
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
    {"Annulla", "Cancel", "Abbrechen"},
    {"Esci", "Exit", "Beenden"},
    {"Unità di misura", "Units", "Einheiten"},
    {"Sistema Metrico Decimale", "Metric", "Metrisch"},
    {"Sistema Anglosassone", "Imperial", "Angloamerikanisch"},
    {"Default", "Defaults", "Standard"},
    {"Valuta", "Currency", "Währung"},
    {"lineare", "length", "Länge"},
    {"superfici", "area", "Fläche"},
    {"volume", "bulk", "Volumen"},
    {"per calcolo peso", "for weights", "für Gewichte"},
    {"Fattore di Conversione", "Factor", "Faktor"},
    {"Simbolo", "Sign", "Zeichen"},
    {"Esempio", "Example", "Beispiel"},
    {"Digitazione misure", "Typing", "Eingabe"},
    {"millimetri", "millimetres", "Millimeter"},
    {"pollici", "inches", "Zoll"},
    {"piedi", "feet", "Fuß"},
    {"Peso Specifico", "Density", "Dichte"},
    {"peso", "weight", "Gewicht"},
    {"kg", "kilos", "Kilo"},
    {"Ripristino dati originali", "Restore the defaults", "Standardwerte"},
    {"Inserire", "Enter", "Eingeben"},
    {"Applico valori impostati a tutte le lingue", "Applied to every language", "Für alle Sprachen"},
    {"Descrizione", "Name", "Bezeichnung"},
    {"Attenzione", "Warning", "Achtung"},
    {"Inserire tutti i dati", "Fill in everything", "Alles ausfüllen"},
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

namespace {
QAction* toolbarAction(QWidget* window, const QString& key) {
    auto* toolbar = child<QToolBar>(window, "tlbPulsanti");
    if (toolbar == nullptr)
        return nullptr;
    return child<QAction>(toolbar, key);
}
}  // namespace

void clickToolbarButton(QWidget* window, const QString& key) {
    QAction* action = toolbarAction(window, key);
    if (action == nullptr)
        return;
    auto* toolbar = qobject_cast<QToolBar*>(action->parent());
    QWidget* button = toolbar->widgetForAction(action);
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
}

bool toolbarButtonEnabled(QWidget* window, const QString& key) {
    QAction* action = toolbarAction(window, key);
    return action != nullptr && action->isEnabled();
}

std::vector<UnitRowTexts> readUnitRows(const QString& path) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
    QString sql = QStringLiteral("SELECT Progressivo");
    for (int n = 1; n <= texts::kLanguages; ++n)
        sql += QStringLiteral(", ") + texts::languageColumn(n);
    sql += QStringLiteral(
        ", DataModifica, Commento, ChiaviRicerca FROM Testi WHERE Programma = 'PARAM' "
        "ORDER BY Progressivo");
    SqlStatement select = db.prepare(sql.toUtf8().constData());
    std::vector<UnitRowTexts> rows;
    while (select.step()) {
        UnitRowTexts row;
        row.key = select.text(0);
        for (int n = 1; n <= texts::kLanguages; ++n)
            row.languages << select.text(n);
        row.changed = select.text(16);
        row.comment = select.text(17);
        row.searchKeys = select.text(18);
        rows.push_back(row);
    }
    return rows;
}

void writeUnitValue(const QString& path, const QString& key, const QString& value, const std::vector<int>& languages) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadWrite);
    for (const int n : languages) {
        const QString sql = QStringLiteral("UPDATE Testi SET %1 = ?1 WHERE Programma = 'PARAM' AND Progressivo = ?2")
                                .arg(texts::languageColumn(n));
        db.prepare(sql.toUtf8().constData()).bind(1, value).bind(2, key).run();
    }
}

void deleteUnitRows(const QString& path, const QStringList& keys) {
    SqlDatabase db(path, SqlDatabase::Mode::ReadWrite);
    for (const QString& key : keys)
        db.prepare("DELETE FROM Testi WHERE Programma = 'PARAM' AND Progressivo = ?1").bind(1, key).run();
}

}  // namespace paramcor::test

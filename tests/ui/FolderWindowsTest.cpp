// The folder windows: the dependency dialog, the folder chooser and the folder
// editor opened by CambiaPercorsi, on a real installation and registry store.
#include "FolderWindowsTesting.h"
#include "WindowTesting.h"
#include "folders/ui/BrowseForFolder.h"
#include "folders/ui/FormDipendenze.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeWidget>
#include <QtTest/QTest>

#include <cstring>

namespace paramcor {
namespace {

using test::child;

std::vector<test::TextRow> folderTexts() {
    std::vector<test::TextRow> rows = test::windowTexts();
    const std::pair<const char*, const char*> wordings[] = {
        {"Dipendenze", "Dependent folders"}, {"Tutto", "All"},       {"Azzera", "None"},
        {"Percorsi", "Folders"},             {"Vecchio percorso", "Old folder"},
    };
    int key = 0;
    for (const auto& [italian, english] : wordings)
        rows.push_back({"CVLPARAMCOR", QStringLiteral("F%1").arg(++key, 3, 10, QLatin1Char('0')),
                        QString::fromUtf8(italian), QString::fromUtf8(english)});
    return rows;
}

// Folders built on one another: DXF on Disegni, DxfVecchi on DXF, and two on the root.
class FolderWindows : public ::testing::Test {
protected:
    FolderWindows() : installation(folderTexts()) {
        installation.platform().writeInstallationFile(
            "REGISTRYROOT = Corvel\r\n"
            "FOLDERS = 5\r\n"
            "FOLDER1 = Testi, <PROGRAM>Testi, TESTI\r\n"
            "FOLDER2 = Disegni, <WINCOR>\\Disegni, DISEGNI\r\n"
            "FOLDER3 = DXF, <Disegni>\\Dxf, DISEGNI\r\n"
            "FOLDER4 = DxfVecchi, <DXF>\\Vecchi, ARCHIVIO\r\n"
            "FOLDER5 = Lastre, <WINCOR>\\Lastre, LASTRE\r\n");
    }

    QString root() const { return installation.folder() + "/Wincor/"; }
    QString newFolder(const QString& name) const {
        const QString path = installation.folder() + "/altrove/" + name;
        QDir().mkpath(path);
        return path;
    }

    static QStringList names(QWidget* editor) {
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        QStringList shown;
        for (int i = 0; grid != nullptr && i < grid->topLevelItemCount(); ++i)
            shown << grid->topLevelItem(i)->text(0);
        return shown;
    }
    static void select(QWidget* editor, const QString& name) {
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        const auto found = grid->findItems(name, Qt::MatchExactly, 0);
        ASSERT_EQ(found.size(), 1) << name.toStdString();
        grid->setCurrentItem(found.first());
    }
    static void click(QWidget* window, const char* name) {
        auto* button = child<QPushButton>(window, name);
        if (button != nullptr)
            QTest::mouseClick(button, Qt::LeftButton);
    }
    static QStringList listed(QWidget* dependencies, std::vector<bool>* selected = nullptr) {
        auto* list = child<QListWidget>(dependencies, "List1");
        QStringList texts;
        for (int i = 0; list != nullptr && i < list->count(); ++i) {
            texts << list->item(i)->text();
            if (selected != nullptr)
                selected->push_back(list->item(i)->isSelected());
        }
        return texts;
    }

    test::WindowInstallation installation;
};

// --- The dependency dialog ----------------------------------------------------------

class DependencyWindow : public FolderWindows {
protected:
    static std::vector<bool> selection(QListWidget* list) {
        std::vector<bool> s;
        for (int i = 0; i < list->count(); ++i)
            s.push_back(list->item(i)->isSelected());
        return s;
    }
    static int topRow(QListWidget* list) { return list->indexAt(QPoint(0, 0)).row(); }
};

TEST_F(DependencyWindow, CaptionsFollowTheLanguageExceptInverti) {
    for (const short language : {1, 2}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        Parametri par;
        ui::FormDipendenze form(par);
        EXPECT_EQ(form.windowTitle(), language == 1 ? "Dipendenze" : "Dependent folders");
        EXPECT_EQ(child<QPushButton>(&form, "OKButton")->text(), test::windowText("Conferma", language));
        EXPECT_EQ(child<QPushButton>(&form, "AllButton")->text(), language == 1 ? "Tutto" : "All");
        EXPECT_EQ(child<QPushButton>(&form, "ClearButton")->text(), language == 1 ? "Azzera" : "None");
        EXPECT_EQ(child<QPushButton>(&form, "InvButton")->text(), "Inverti");
        EXPECT_EQ(child<QPushButton>(&form, "CancelButton")->text(), test::windowText("Annulla", language));
        EXPECT_EQ(child<QListWidget>(&form, "List1")->selectionMode(), QAbstractItemView::MultiSelection);
        EXPECT_FALSE(form.confirmed());
    }
}

TEST_F(DependencyWindow, WithAnEmptyListTheSelectionButtonsDoNothing) {
    Parametri par;
    ui::FormDipendenze form(par);
    test::activate(&form);
    for (const char* name : {"AllButton", "ClearButton", "InvButton"})
        click(&form, name);
    EXPECT_EQ(form.List1()->count(), 0);
    EXPECT_TRUE(form.isVisible());
    EXPECT_TRUE(installation.platform().messages().empty());
}

TEST_F(DependencyWindow, SelectionButtonsKeepTheCurrentItemAndTheScrollPosition) {
    Parametri par;
    ui::FormDipendenze form(par);
    QListWidget* list = form.List1();
    for (int i = 0; i < 80; ++i)
        new QListWidgetItem(QStringLiteral("Cartella %1").arg(i), list);
    const std::vector<int> preselected{2, 31, 33, 50};
    for (const int i : preselected)
        list->item(i)->setSelected(true);
    form.resize(420, 260);
    test::activate(&form);
    list->setCurrentRow(30, QItemSelectionModel::NoUpdate);
    list->scrollToItem(list->item(25), QAbstractItemView::PositionAtTop);
    const int top = topRow(list);
    ASSERT_GT(top, 0);
    const std::vector<bool> original = selection(list);

    click(&form, "AllButton");
    EXPECT_EQ(selection(list), std::vector<bool>(80, true));
    EXPECT_EQ(list->currentRow(), 30);
    EXPECT_EQ(topRow(list), top);

    click(&form, "ClearButton");
    EXPECT_EQ(selection(list), std::vector<bool>(80, false));
    EXPECT_EQ(list->currentRow(), 30);
    EXPECT_EQ(topRow(list), top);

    for (const int i : preselected)
        list->item(i)->setSelected(true);
    click(&form, "InvButton");
    std::vector<bool> inverted = original;
    inverted.flip();
    EXPECT_EQ(selection(list), inverted);
    EXPECT_EQ(list->currentRow(), 30);
    EXPECT_EQ(topRow(list), top);
    click(&form, "InvButton");
    EXPECT_EQ(selection(list), original);
    EXPECT_EQ(topRow(list), top);
    EXPECT_TRUE(form.isVisible());
}

TEST_F(DependencyWindow, OnlyConfirmSetsTheFlag) {
    struct Case {
        const char* how;
        bool confirmed;
        int result;
    };
    for (const Case& c : {Case{"OKButton", true, QDialog::Accepted}, Case{"CancelButton", false, QDialog::Rejected},
                          Case{"Esc", false, QDialog::Rejected}}) {
        SCOPED_TRACE(c.how);
        Parametri par;
        ui::FormDipendenze form(par);
        new QListWidgetItem(QStringLiteral("DXF"), form.List1());
        new QListWidgetItem(QStringLiteral("DWG"), form.List1());
        test::onNextModal([&](QWidget* window) {
            click(window, "AllButton");
            if (QString::fromLatin1(c.how) == "Esc")
                QTest::keyClick(window, Qt::Key_Escape);
            else
                click(window, c.how);
        });
        EXPECT_EQ(form.run(), c.result);
        EXPECT_EQ(form.confirmed(), c.confirmed);
        EXPECT_FALSE(form.isVisible());
        // The choice is there to read; after Esc the caller ignores it.
        EXPECT_TRUE(form.List1()->item(1)->isSelected());
    }
}

// --- Folder browsing ------------------------------------------------------------------

TEST(StripTrailingBackslash, DropsOneTrailingSeparatorOnly) {
    const QString sep = QDir::separator();
    const std::pair<QString, QString> cases[] = {
        {"", ""},
        {sep, ""},
        {sep + "dati" + sep, sep + "dati"},
        {sep + "dati", sep + "dati"},
        {sep + "dati" + sep + sep, sep + "dati" + sep},
        {"dati", "dati"},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(ui::StripTrailingBackslash(path), expected) << path.toStdString();
}

TEST_F(FolderWindows, BrowsingStartsAtTheFolderGivenAndReturnsTheChoiceOrNothing) {
    const QString start = newFolder("inizio");
    const QString other = newFolder("scelta");
    test::onModalNamed("BrowseForFolder", [&](QWidget* window) {
        auto* chooser = qobject_cast<QFileDialog*>(window);
        ASSERT_NE(chooser, nullptr);
        EXPECT_EQ(QDir(chooser->directory()).canonicalPath(), QDir(start).canonicalPath());
        EXPECT_EQ(chooser->windowTitle(), "Scegli");
        chooser->setDirectory(other);
        static_cast<QDialog*>(chooser)->accept();  // as the Choose button does
    });
    EXPECT_EQ(ui::BrowseForFolder(start, "Scegli", nullptr), QDir::toNativeSeparators(other));

    test::onModalNamed("BrowseForFolder", [&](QWidget* window) { qobject_cast<QDialog*>(window)->reject(); });
    EXPECT_EQ(ui::BrowseForFolder(start, "Scegli", nullptr), "");
}

// --- The folder editor ------------------------------------------------------------------

TEST_F(FolderWindows, TheFilterShowsTheFoldersWhoseNameOrReferenceMatches) {
    struct Case {
        QVariant filter;
        QStringList shown;
    };
    const QStringList all{"Wincor",  "Testi",   "Disegni", "DXF",     "DxfVecchi", "Lastre",  "Custom1", "Custom2",
                          "Custom3", "Custom4", "Custom5", "Custom6", "Custom7",   "Custom8", "Custom9"};
    for (const Case& c : {Case{QVariant(), all}, Case{QString("disegni"), {"Disegni", "DXF"}},
                          Case{QString("Dxf"), {"DXF"}}, Case{QString("archivio"), {"DxfVecchi"}},
                          Case{QString("nessuna"), {}}}) {
        SCOPED_TRACE(c.filter.toString().toStdString());
        Parametri par;
        test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
            EXPECT_EQ(names(editor), c.shown);
            QTest::keyClick(editor, Qt::Key_Escape);
        });
        EXPECT_FALSE(par.CambiaPercorsi(c.filter));
    }
}

TEST_F(FolderWindows, ShowsCurrentAndDefaultLocations) {
    Parametri par;
    par.ScriviPercorso("DXF", "/lavoro/dxf/");
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        EXPECT_EQ(editor->windowTitle(), "Percorsi");
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        const auto rows = grid->findItems("DXF", Qt::MatchExactly, 0);
        ASSERT_EQ(rows.size(), 1);
        EXPECT_EQ(rows[0]->text(1), "/lavoro/dxf/");
        EXPECT_EQ(rows[0]->text(2), root() + "Disegni/Dxf/");
        EXPECT_EQ(rows[0]->text(3), "DISEGNI");
        select(editor, "DXF");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), "/lavoro/dxf/");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoDefault")->text(), root() + "Disegni/Dxf/");
        select(editor, "Testi");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoDefault")->text(), installation.folder() + "/Testi/");
        test::clickToolbarButton(editor, "Esci");
    });
    EXPECT_FALSE(par.CambiaPercorsi());
    EXPECT_EQ(par.Percorso("DXF"), "/lavoro/dxf/");
}

TEST_F(FolderWindows, AFolderChosenIsWrittenAndTheChosenDependentsFollow) {
    struct Case {
        const char* what;
        std::vector<bool> follow;  // DXF, DxfVecchi; empty: the dialog is cancelled
    };
    for (const Case& c : {Case{"all follow", {true, true}}, Case{"only the second", {false, true}},
                          Case{"cancelled", {}}}) {
        SCOPED_TRACE(c.what);
        Parametri par;
        par.ScriviPercorso("Disegni", root() + "Disegni/");
        par.ScriviPercorso("DXF", root() + "Disegni/Dxf/");
        par.ScriviPercorso("DxfVecchi", root() + "Disegni/Dxf/Vecchi/");
        const QString chosen = newFolder("Disegni");
        QDir().mkpath(root() + "Disegni");
        test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
            select(editor, "Disegni");
            test::onModalNamed("BrowseForFolder", [&](QWidget* window) {
                auto* chooser = qobject_cast<QFileDialog*>(window);
                ASSERT_NE(chooser, nullptr);
                EXPECT_EQ(QDir(chooser->directory()).canonicalPath(), QDir(root() + "Disegni").canonicalPath());
                EXPECT_EQ(chooser->windowTitle(), "Vecchio percorso : " + root() + "Disegni");
                chooser->setDirectory(chosen);
                static_cast<QDialog*>(chooser)->accept();  // as the Choose button does
            });
            test::onModalNamed("FormDipendenze", [&](QWidget* dependencies) {
                std::vector<bool> preselected;
                EXPECT_EQ(listed(dependencies, &preselected),
                          QStringList({"DXF  →  " + chosen + "/Dxf/", "DxfVecchi  →  " + chosen + "/Dxf/Vecchi/"}));
                EXPECT_EQ(preselected, std::vector<bool>({true, true}));
                if (c.follow.empty()) {
                    click(dependencies, "CancelButton");
                    return;
                }
                auto* list = child<QListWidget>(dependencies, "List1");
                for (int i = 0; i < 2; ++i)
                    list->item(i)->setSelected(c.follow[i]);
                click(dependencies, "OKButton");
            });
            click(editor, "CambiaPercorso");
            EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), chosen + "/");
            test::clickToolbarButton(editor, "Conferma");
        });
        EXPECT_TRUE(par.CambiaPercorsi());
        EXPECT_EQ(par.Percorso("Disegni"), chosen + "/");
        const bool dxfFollows = !c.follow.empty() && c.follow[0];
        const bool oldFollows = !c.follow.empty() && c.follow[1];
        const QString dxf = dxfFollows ? chosen + "/Dxf/" : root() + "Disegni/Dxf/";
        EXPECT_EQ(par.Percorso("DXF"), dxf);
        EXPECT_EQ(par.Percorso("DxfVecchi"), oldFollows ? dxf + "Vecchi/" : root() + "Disegni/Dxf/Vecchi/");
        EXPECT_EQ(par.Percorso("Lastre"), root() + "Lastre/");
    }
}

TEST_F(FolderWindows, CancellingTheChooserOrTheEditorWritesNothing) {
    Parametri par;
    par.ScriviPercorso("Lastre", "/magazzino/lastre/");
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "Lastre");
        test::onModalNamed("BrowseForFolder", [](QWidget* window) { qobject_cast<QDialog*>(window)->reject(); });
        click(editor, "CambiaPercorso");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), "/magazzino/lastre/");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_FALSE(par.CambiaPercorsi());

    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "Lastre");
        auto* location = child<QLineEdit>(editor, "PercorsoCorrente");
        location->selectAll();
        QTest::keyClicks(location, "/altrove/");
        QTest::keyClick(location, Qt::Key_Return);
        EXPECT_TRUE(editor->isVisible());
        QTest::keyClick(editor, Qt::Key_Escape);
    });
    EXPECT_FALSE(par.CambiaPercorsi());
    EXPECT_EQ(par.Percorso("Lastre"), "/magazzino/lastre/");
}

TEST_F(FolderWindows, RestoresOneDefaultOrAllOfThemAfterAsking) {
    Parametri par;
    par.ScriviPercorso("Lastre", "/magazzino/lastre/");
    par.ScriviPercorso("DXF", "/lavoro/dxf/");
    par.ScriviPercorso("DxfVecchi", "/lavoro/vecchi/");
    auto& boxes = installation.platform().boxes();

    // One default: DXF's dependent is offered and declined.
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "DXF");
        test::onModalNamed("FormDipendenze", [&](QWidget* dependencies) {
            EXPECT_EQ(listed(dependencies), QStringList({"DxfVecchi  →  " + root() + "Disegni/Dxf/Vecchi/"}));
            QTest::keyClick(dependencies, Qt::Key_Escape);
        });
        click(editor, "cmdDefault");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), root() + "Disegni/Dxf/");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_TRUE(par.CambiaPercorsi());
    EXPECT_EQ(par.Percorso("DXF"), root() + "Disegni/Dxf/");
    EXPECT_EQ(par.Percorso("DxfVecchi"), "/lavoro/vecchi/");
    EXPECT_EQ(par.Percorso("Lastre"), "/magazzino/lastre/");
    EXPECT_TRUE(boxes.messages.empty());

    // All defaults: the first answer is No, the second Yes.
    boxes.answers = {mb::No, mb::Yes};
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "Lastre");
        click(editor, "cmdTuttiDefault");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), "/magazzino/lastre/");
        click(editor, "cmdTuttiDefault");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), root() + "Lastre/");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_TRUE(par.CambiaPercorsi());
    ASSERT_EQ(boxes.messages.size(), 2u);
    for (const auto& m : boxes.messages) {
        EXPECT_EQ(m.text, "Ripristino tutti i percorsi di default?");
        EXPECT_EQ(m.flags, mb::YesNo | mb::Question);
        EXPECT_EQ(m.title, "Percorsi");
    }
    EXPECT_EQ(par.Percorso("Lastre"), root() + "Lastre/");
    EXPECT_EQ(par.Percorso("DxfVecchi"), root() + "Disegni/Dxf/Vecchi/");
    EXPECT_EQ(par.Percorso("Testi"), installation.folder() + "/Testi/");
    // Nothing was left to restore the third time.
    boxes.answers = {mb::Yes};
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        click(editor, "cmdTuttiDefault");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_FALSE(par.CambiaPercorsi());
}

TEST_F(FolderWindows, AFolderMovedByAnotherProgramIsShownWhereItWent) {
    Parametri par;
    par.ScriviPercorso("DXF", "/lavoro/dxf/");
    par.ScriviPercorso("Lastre", "/lavoro/lastre/");
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "Lastre");
        auto* location = child<QLineEdit>(editor, "PercorsoCorrente");
        location->setText("/qui/lastre/");
        QTest::keyClick(location, Qt::Key_Return);
        {
            auto other = installation.platform().otherProgramStore();
            KeyHandle key = 0;
            ASSERT_EQ(other.createKey(Hive::CurrentUser, "SOFTWARE\\Corvel", &key), regerr::Success);
            for (const auto& [name, path] : {std::pair{"PercorsoDXF", "/altrove/dxf/"}, {"PercorsoLastre", "/altrove/lastre/"}})
                other.setValue(key, name, regtype::String, std::vector<std::uint8_t>(path, path + std::strlen(path)));
            other.closeKey(key);
        }
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        const auto shown = [&](const char* name) { return grid->findItems(name, Qt::MatchExactly, 0).value(0)->text(1); };
        const QDeadlineTimer deadline(5000);
        while (shown("DXF") != "/altrove/dxf/" && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        EXPECT_EQ(shown("DXF"), "/altrove/dxf/");
        EXPECT_EQ(shown("Lastre"), "/qui/lastre/");  // the user's own choice stays
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_TRUE(par.CambiaPercorsi());
    EXPECT_EQ(par.Percorso("DXF"), "/altrove/dxf/");
    EXPECT_EQ(par.Percorso("Lastre"), "/qui/lastre/");
}

TEST_F(FolderWindows, ATypedLocationIsWrittenAsTyped) {
    Parametri par;
    test::onModalNamed("FormPercorsi", [&](QWidget* editor) {
        select(editor, "Lastre");
        auto* location = child<QLineEdit>(editor, "PercorsoCorrente");
        location->selectAll();
        QTest::keyClicks(location, "/magazzino//lastre");
        QTest::keyClick(location, Qt::Key_Return);
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        EXPECT_EQ(grid->currentItem()->text(1), "/magazzino//lastre");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_TRUE(par.CambiaPercorsi());
    EXPECT_EQ(par.Percorso("Lastre"), "/magazzino/lastre/");
}

}  // namespace
}  // namespace paramcor

// The folder windows: the dependency dialog, the folder chooser and the folder
// editor opened by CambiaPercorsi, wired to the folder editing logic over a real
// installation and registry store.
#include "WindowTesting.h"
#include "ui/folders/BrowseForFolder.h"
#include "ui/folders/FormDipendenze.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest/QTest>

namespace paramcor {
namespace {

using test::child;

void click(QWidget* window, const char* name) {
    QTest::mouseClick(child<QPushButton>(window, name), Qt::LeftButton);
}
std::vector<bool> selection(QListWidget* list) {
    std::vector<bool> s;
    for (int i = 0; i < list->count(); ++i)
        s.push_back(list->item(i)->isSelected());
    return s;
}
QTreeWidgetItem* row(QWidget* editor, const char* name) {
    return child<QTreeWidget>(editor, "grdPercorsi")->findItems(name, Qt::MatchExactly, 0).value(0);
}

TEST(DependencyWindow, SelectionButtonsKeepTheCurrentItemAndScrollAndOnlyConfirmCounts) {
    test::WindowInstallation installation;
    Parametri par;
    ui::FormDipendenze form(par);
    test::activate(&form);
    QListWidget* list = form.List1();
    for (int i = 0; i < 80; ++i)
        new QListWidgetItem(QStringLiteral("Cartella %1").arg(i), list);
    for (const int i : {2, 31, 33, 50})
        list->item(i)->setSelected(true);
    form.resize(420, 260);
    list->setCurrentRow(30, QItemSelectionModel::NoUpdate);
    list->scrollToItem(list->item(25), QAbstractItemView::PositionAtTop);
    const int top = list->indexAt(QPoint(0, 0)).row();
    ASSERT_GT(top, 0);
    std::vector<bool> inverted = selection(list);
    inverted.flip();
    const std::pair<const char*, std::vector<bool>> steps[] = {
        {"InvButton", inverted}, {"AllButton", std::vector<bool>(80, true)}, {"ClearButton", std::vector<bool>(80, false)}};
    for (const auto& [button, expected] : steps) {
        click(&form, button);
        EXPECT_EQ(selection(list), expected) << button;
        EXPECT_EQ(list->currentRow(), 30);
        EXPECT_EQ(list->indexAt(QPoint(0, 0)).row(), top);
    }
    EXPECT_FALSE(form.confirmed());
    form.hide();  // shown modally from here on
    for (const char* how : {"CancelButton", "OKButton"}) {
        test::onNextModal([how](QWidget* window) { click(window, how); });
        EXPECT_EQ(form.run(), QString(how) == "OKButton" ? QDialog::Accepted : QDialog::Rejected);
        EXPECT_EQ(form.confirmed(), QString(how) == "OKButton");
    }
}

TEST(BrowseForFolder, StartsAtTheFolderGivenAndReturnsTheChoiceOrNothing) {
    const QString sep = QDir::separator();
    const std::pair<QString, QString> strips[] = {
        {"", ""}, {sep, ""}, {sep + "dati" + sep, sep + "dati"}, {sep + "dati" + sep + sep, sep + "dati" + sep},
        {"dati", "dati"}};
    for (const auto& [path, expected] : strips)
        EXPECT_EQ(ui::StripTrailingBackslash(path), expected) << path.toStdString();

    test::WindowInstallation installation;
    test::onNextModal([&](QWidget* window) { qobject_cast<QDialog*>(window)->reject(); });
    EXPECT_EQ(ui::BrowseForFolder(installation.folder(), "Scegli", nullptr), "");
}

// Folders built on one another: DXF on Disegni, DxfVecchi on DXF, Lastre on the root.
class FolderEditor : public ::testing::Test {
protected:
    FolderEditor() {
        installation.platform().writeInstallationFile(
            "REGISTRYROOT = Corvel\r\nFOLDERS = 4\r\n"
            "FOLDER1 = Disegni, <WINCOR>\\Disegni, DISEGNI\r\n"
            "FOLDER2 = DXF, <Disegni>\\Dxf, DISEGNI\r\n"
            "FOLDER3 = DxfVecchi, <DXF>\\Vecchi, ARCHIVIO\r\n"
            "FOLDER4 = Lastre, <WINCOR>\\Lastre, LASTRE\r\n");
    }
    test::WindowInstallation installation;
    const QString root = installation.folder() + "/Wincor/";
};

// Confirming writes the folder chosen and the dependents chosen; leaving writes
// nothing, whatever was restored or typed meanwhile.
TEST_F(FolderEditor, WritesWhatIsConfirmedAndNothingOnLeaving) {
    Parametri par;
    par.ScriviPercorso("Lastre", "/magazzino/lastre/");
    const QString chosen = installation.folder() + "/altrove";
    QDir().mkpath(chosen);
    QDir().mkpath(root + "Disegni");
    test::onNextModal([&](QWidget* editor) {
        auto* grid = child<QTreeWidget>(editor, "grdPercorsi");
        ASSERT_EQ(grid->topLevelItemCount(), 2);  // the filter: name or reference
        grid->setCurrentItem(row(editor, "Disegni"));
        auto* fallback = child<QLineEdit>(editor, "PercorsoDefault");
        EXPECT_EQ(fallback->text(), root + "Disegni/");
        EXPECT_TRUE(fallback->isReadOnly());
        test::onNextModal([&](QWidget* browse) {
            EXPECT_EQ(browse->windowTitle(), "Vecchio percorso : " + root + "Disegni");
            auto* files = qobject_cast<QFileDialog*>(browse);
            EXPECT_EQ(files->directory().canonicalPath(), QDir(root + "Disegni").canonicalPath());
            files->setDirectory(chosen);
            test::onNextModal([&](QWidget* dependencies) {
                auto* list = child<QListWidget>(dependencies, "List1");
                ASSERT_EQ(list->count(), 2);
                EXPECT_EQ(list->item(0)->text(), "DXF  →  " + chosen + "/Dxf/");
                EXPECT_EQ(selection(list), std::vector<bool>({true, true}));
                list->item(1)->setSelected(false);
                click(dependencies, "OKButton");
            });
            static_cast<QDialog*>(files)->accept();  // as the Choose button does
        });
        click(editor, "CambiaPercorso");
        EXPECT_EQ(child<QLineEdit>(editor, "PercorsoCorrente")->text(), chosen + "/");
        EXPECT_EQ(row(editor, "Disegni")->text(1) + row(editor, "DXF")->text(1), chosen + "/" + chosen + "/Dxf/");
        test::clickToolbarButton(editor, "Conferma");
    });
    EXPECT_TRUE(par.CambiaPercorsi("disegni"));
    EXPECT_EQ(par.Percorso("Disegni"), chosen + "/");
    EXPECT_EQ(par.Percorso("DXF"), chosen + "/Dxf/");
    EXPECT_EQ(par.Percorso("DxfVecchi"), root + "Disegni/Dxf/Vecchi/");

    auto& boxes = installation.platform().boxes();
    boxes.answers = {mb::Yes};
    test::onNextModal([&](QWidget* editor) {
        child<QTreeWidget>(editor, "grdPercorsi")->setCurrentItem(row(editor, "Lastre"));
        click(editor, "cmdTuttiDefault");
        auto* location = child<QLineEdit>(editor, "PercorsoCorrente");
        EXPECT_EQ(location->text(), root + "Lastre/");
        location->selectAll();
        QTest::keyClicks(location, "/altrove/lastre");
        QTest::keyClick(location, Qt::Key_Return);  // takes the folder, does not confirm
        EXPECT_EQ(row(editor, "Lastre")->text(1), "/altrove/lastre");
        QTest::keyClick(editor, Qt::Key_Escape);
    });
    EXPECT_FALSE(par.CambiaPercorsi());
    ASSERT_EQ(boxes.messages.size(), 1u);
    EXPECT_EQ(boxes.messages[0].text, "Ripristino tutti i percorsi di default?");
    EXPECT_EQ(par.Percorso("Lastre"), "/magazzino/lastre/");
}

}  // namespace
}  // namespace paramcor

// The language window: its options and their look, confirming and leaving, the
// units button, the globe, and its captions in the current language.
#include "WindowTesting.h"
#include "texts/ui/FormLingua.h"
#include "ui/QtMessageBoxes.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QtTest/QTest>

#include <map>

namespace paramcor {
namespace {

using test::child;
using test::onNextModal;

class LanguageWindow : public ::testing::Test {
protected:
    void SetUp() override {
        // Languages 1 and 3 installed; 2 has its folder, but empty.
        for (const char* language : {"1", "2", "3"})
            ASSERT_TRUE(QDir().mkpath(installation.textsFolder() + language));
        for (const char* file : {"1/CvlLing.txt", "3/Leggimi.txt"}) {
            QFile f(installation.textsFolder() + file);
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        }
    }

    // Opens the window through CambiaLingua and runs `user` on it.
    bool changeLanguage(Parametri& par, const std::function<void(QWidget*)>& user) {
        bool opened = false;
        onNextModal([&](QWidget* window) {
            opened = true;
            user(window);
        });
        const bool changed = par.CambiaLingua();
        EXPECT_TRUE(opened);
        return changed;
    }

    static void click(QWidget* window, const char* name) {
        if (auto* button = child<QAbstractButton>(window, name))
            QTest::mouseClick(button, Qt::LeftButton);
    }

    test::WindowInstallation installation;
};

TEST_F(LanguageWindow, OffersTwelveLanguagesByTheirOwnNamesRaisedWhereTheirFolderHoldsFiles) {
    Parametri par;
    ui::FormLingua form(par, 2);
    const QStringList names{"Italiano",   "English", "Deutsch", "Français", "Español", "Português",
                            "Nederlands", "Polski",  "Čeština", "Svenska",  "Română",  "Русский"};
    for (int i = 0; i < 12; ++i) {
        auto* option = child<ui::LanguageOption>(&form, QStringLiteral("Option1_%1").arg(i));
        ASSERT_NE(option, nullptr);
        EXPECT_EQ(option->text(), names[i]);
        EXPECT_EQ(option->raised(), i == 0 || i == 2) << i;
        EXPECT_TRUE(option->isEnabled());
        EXPECT_EQ(option->isChecked(), i == 1) << i;
    }
}

TEST_F(LanguageWindow, ConfirmingAnotherLanguageStoresIt) {
    installation.setLanguage(2);
    Parametri par;
    EXPECT_TRUE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_4");
        click(window, "Command1");
    }));
    EXPECT_EQ(par.Lingua(), 5);
    Parametri another;
    EXPECT_EQ(another.Lingua(), 5);

    // A language without its folder is chosen all the same.
    EXPECT_TRUE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_11");
        QTest::keyClick(child<QWidget>(window, "Command1"), Qt::Key_Space);
    }));
    EXPECT_EQ(par.Lingua(), 12);
}

TEST_F(LanguageWindow, ConfirmingTheLanguageAlreadyCurrentReturnsFalseAndWritesNothing) {
    auto store = std::make_shared<test::CountingStore>(
        std::make_shared<SqliteRegistryStore>(installation.platform().storeFolder()));
    Platform counted = platform();
    counted.registry = store;
    counted.timer = [] { return 36000.0; };  // one burst of lookups throughout
    installPlatform(counted);
    installation.setLanguage(3);
    Parametri par;
    par.Traduci("Conferma");
    store->writes.clear();

    // Another option clicked, then the current one again.
    EXPECT_FALSE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_0");
        click(window, "Option1_2");
        click(window, "Command1");
    }));
    EXPECT_EQ(store->writes["Lingua"], 0);
    EXPECT_EQ(par.Lingua(), 3);
}

TEST_F(LanguageWindow, CancelAndEscLeaveTheLanguage) {
    installation.setLanguage(2);
    Parametri par;
    EXPECT_FALSE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_0");
        click(window, "Command2");
    }));
    EXPECT_FALSE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_0");
        QTest::keyClick(window, Qt::Key_Escape);
    }));
    EXPECT_EQ(par.Lingua(), 2);
}

TEST_F(LanguageWindow, TheUnitsButtonOpensTheUnitsWindowOverTheLanguageWindow) {
    Parametri par;
    QString units;
    bool languageWindowStaysOpen = false;
    EXPECT_TRUE(changeLanguage(par, [&](QWidget* window) {
        onNextModal([&](QWidget* over) {
            units = over->objectName();
            EXPECT_EQ(over->parentWidget(), window);
            QTest::keyClick(over, Qt::Key_Escape);
        });
        click(window, "cmdMisure");
        languageWindowStaysOpen = window->isVisible();
        click(window, "Option1_1");
        click(window, "Command1");
    }));
    EXPECT_EQ(units, "FormMisure");
    EXPECT_TRUE(languageWindowStaysOpen);
    EXPECT_EQ(par.Lingua(), 2);
}

// A units window that cannot load closes the language window too, and its
// failure reaches the program, with nothing changed.
TEST_F(LanguageWindow, AFailureOfTheUnitsWindowReachesTheCaller) {
    Parametri par;
    test::deleteUnitRows(installation.textDatabase(), {"03_LIN"});
    onNextModal([](QWidget* window) {
        click(window, "Option1_2");
        click(window, "cmdMisure");
    });
    EXPECT_THROW(par.CambiaLingua(), std::invalid_argument);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(par.Lingua(), 1);
}

TEST_F(LanguageWindow, TheGlobeTurnsThroughSixteenFramesWhileTheWindowIsOpen) {
    Parametri par;
    ui::FormLingua form(par, 1);
    auto* timer = child<QTimer>(&form, "Timer1");
    ASSERT_NE(timer, nullptr);
    EXPECT_TRUE(timer->isActive());
    auto* picture = child<QLabel>(&form, "picMondo");
    ASSERT_NE(picture, nullptr);

    std::vector<QImage> frames;
    QStringList keys;
    for (int tick = 0; tick < 17; ++tick) {
        keys << form.globeFrameKey();
        frames.push_back(picture->pixmap().toImage());
        form.showNextGlobeFrame();
    }
    QStringList expected;
    for (int k = 1; k <= 16; ++k)
        expected << QStringLiteral("World%1").arg(k);
    expected << "World1";
    EXPECT_EQ(keys, expected);
    for (int k = 1; k < 16; ++k)
        EXPECT_NE(frames[k], frames[k - 1]) << "frame " << k + 1 << " is frame " << k << " again";
    EXPECT_EQ(frames[16], frames[0]);
    EXPECT_FALSE(frames[0].isNull());
}

TEST_F(LanguageWindow, OpensCentredOnTheScreen) {
    Parametri par;
    QPoint offset(99, 99);
    changeLanguage(par, [&](QWidget* window) {
        offset = window->frameGeometry().center() - window->screen()->availableGeometry().center();
        click(window, "Command2");
    });
    EXPECT_LE(std::abs(offset.x()), 1);
    EXPECT_LE(std::abs(offset.y()), 1);
}

TEST_F(LanguageWindow, CaptionsAndTooltipsAreInTheCurrentLanguage) {
    for (const short language : {2, 3, 1}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        Parametri par;
        auto text = [language](const char* italian) {
            return language == 1 ? QString::fromUtf8(italian) : test::windowText(QString::fromUtf8(italian), language);
        };
        ui::FormLingua form(par, language);
        EXPECT_EQ(form.windowTitle(), text("Cambio Lingua"));
        auto* confirm = child<QPushButton>(&form, "Command1");
        auto* cancel = child<QPushButton>(&form, "Command2");
        auto* units = child<QPushButton>(&form, "cmdMisure");
        ASSERT_TRUE(confirm && cancel && units);
        // Wordings are found whatever their case: "conferma" is the row of "Conferma".
        EXPECT_EQ(confirm->toolTip(), text("Conferma"));
        EXPECT_EQ(cancel->toolTip(), text("esc"));
        EXPECT_EQ(confirm->text(), text("Conferma"));
        EXPECT_EQ(cancel->text(), text("Annulla"));
        EXPECT_EQ(units->text(), text("Unità di misura"));
    }
}

// No program loads Qt's translations: the standard buttons follow the suite's
// language, changed here or by another program.
TEST_F(LanguageWindow, TheButtonsOfMessageBoxesAreInTheSuitesLanguage) {
    double now = 36000;
    Platform timed = platform();
    timed.timer = [&now] { return now; };
    installPlatform(timed);
    auto yes = [] {
        QString text;
        onNextModal([&](QWidget* window) {
            auto* box = qobject_cast<QMessageBox*>(window);
            ASSERT_NE(box, nullptr);
            text = box->button(QMessageBox::Yes)->text().remove(u'&');
            box->button(QMessageBox::Yes)->click();
        });
        EXPECT_EQ(ui::QtMessageBoxes().show(QStringLiteral("?"), mb::YesNo | mb::Question, QString()), mb::Yes);
        return text;
    };

    installation.setLanguage(1);
    Parametri par;
    EXPECT_EQ(yes(), QStringLiteral("Sì"));
    EXPECT_TRUE(changeLanguage(par, [](QWidget* window) {
        click(window, "Option1_2");
        click(window, "Command1");
    }));
    EXPECT_EQ(yes(), QStringLiteral("Ja"));

    // Another program goes back to Italian; the next burst of lookups finds it.
    auto other = installation.platform().otherProgramStore();
    test::putValue(other, Hive::CurrentUser, par.RadReg().toStdString(), "Lingua", regtype::String, {'1'});
    now += 10;
    par.Traduci(QStringLiteral("Conferma"));
    EXPECT_EQ(yes(), QStringLiteral("Sì"));
}

}  // namespace
}  // namespace paramcor

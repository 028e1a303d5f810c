// The about and versions windows on the sample installation, in the user's
// language, and the system information handed to support: copied, or mailed into
// the outbox when there is no server (the server's way is the mail module's test's).
#include "MailTesting.h"
#include "WindowTesting.h"
#include "info/ui/FormInformazioni.h"
#include "info/ui/FormVersioni.h"

#include <QApplication>
#include <QClipboard>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QPushButton>
#include <QtTest/QTest>

#include <functional>

namespace paramcor {
namespace {

using test::child;

const QString kProgram = QStringLiteral("Taglio");
const QString kVersion = QStringLiteral("3.1.4");

void click(QWidget* form, const char* button) {
    QTest::mouseClick(child<QPushButton>(form, button), Qt::LeftButton);
}
// The text of a label or a line edit.
QString shown(QWidget* form, const char* name) {
    const QObject* found = form->findChild<QObject*>(name);
    return found ? found->property("text").toString() : QStringLiteral("<none>");
}

TEST(InformationWindows, ShowTheRecordsInTheUsersLanguageAndMailThemToSupport) {
    test::TestPlatform platform;
    platform.writeInstallationFile(test::fileBytes(CVLPARAMCOR_SAMPLES "/ParamCor.txt"));
    const QString texts = platform.folder() + "/Testi/";
    ASSERT_TRUE(QDir().mkpath(texts));
    ASSERT_TRUE(QFile::copy(CVLPARAMCOR_SAMPLES "/Testi/CvlTrad.mdb", texts + "CvlTrad.mdb"));
    QFile::setPermissions(texts + "CvlTrad.mdb", QFile::ReadOwner | QFile::WriteOwner);
    {
        Parametri par;
        par.Lingua(2);
        par.VersioneProdotto("2026.2");
        par.VersioneProdottoVetro("2026.1.7");
        par.VersioneProdottoVetroCam("2026.1.2");
        // The machine's own telephone number wins over the installation file's.
        par.LocalMachine();
        par.ScriviParametroStringa("TelefonoFornitore", "+39 0423 123456");
    }
    Parametri par;
    const std::pair<std::function<void()>, QString> openers[] = {
        {[&] { par.Informazioni(kProgram, kVersion); }, "FormInformazioni"}, {[&] { par.Versioni(); }, "FormVersioni"}};
    for (const auto& [open, name] : openers) {
        QString opened;
        test::onNextModal([&](QWidget* window) { opened = window->objectName(), window->close(); });
        open();
        EXPECT_EQ(opened, name);
    }

    ui::FormInformazioni form(par, kProgram, kVersion);
    EXPECT_EQ(form.windowTitle(), "About Taglio");
    EXPECT_EQ(child<QPushButton>(&form, "cmdSistema")->text(), "System information");
    for (const auto& [name, value] : {std::pair<const char*, QString>{"lblVersione", kVersion},
                                      {"lblProdotto", "2026.2"}, {"lblTelefono", "+39 0423 123456"}})
        EXPECT_EQ(shown(&form, name), value) << name;
    EXPECT_TRUE(shown(&form, "lblAssistenza").contains("mailto:traduzioni@corvel.it"));
    test::activate(&form);
    EXPECT_FALSE(child<QGroupBox>(&form, "fraSistema")->isVisible());
    click(&form, "cmdSistema");
    EXPECT_TRUE(child<QGroupBox>(&form, "fraSistema")->isVisible());
    QApplication::clipboard()->clear();
    click(&form, "cmdCopia");
    const QString copied = QApplication::clipboard()->text();
    EXPECT_EQ(copied, form.systemInformationText());
    for (const QString& fact : {QString("[Product versions]"), kProgram, QString("2026.1.7"),
                                QString::fromLatin1(qVersion()), QString(": 2 English\n")})
        EXPECT_TRUE(copied.contains(fact)) << fact.toStdString();

    // No server: the mail waits in the outbox, and the user is told where.
    EXPECT_TRUE(platform.messages().empty());
    click(&form, "cmdInvia");
    ASSERT_EQ(platform.messages().size(), 1u);
    EXPECT_EQ(platform.messages()[0].flags, mb::Information);
    EXPECT_EQ(platform.messages()[0].title, form.windowTitle());
    const QDir outbox(platform.messages()[0].text.section('\n', 1));
    const QStringList written = outbox.entryList({"CVLINFO-*.eml"}, QDir::Files);
    ASSERT_EQ(written.size(), 1) << outbox.path().toStdString();
    const test::ReceivedMail mail = test::parseMail(test::fileBytes(outbox.filePath(written[0])));
    EXPECT_EQ(mail.headers.at("subject"), "[CVLINFO] Taglio 3.1.4");
    EXPECT_EQ(mail.headers.at("to"), "<traduzioni@corvel.it>");
    EXPECT_EQ(mail.body, copied.toUtf8());

    ui::FormVersioni versions(par);
    EXPECT_EQ(versions.windowTitle(), "Versions");
    for (const auto& [name, value] : {std::pair<const char*, QString>{"txtAggiornamento", "6.0"},
                                      {"txtVetroCam", "2026.1.2"}, {"txtQt", QT_VERSION_STR}, {"txtFormato", "6.0.0"}})
        EXPECT_EQ(shown(&versions, name), value) << name;
    EXPECT_TRUE(QDate::fromString(shown(&versions, "txtData"), Qt::ISODate).isValid());
}

}  // namespace
}  // namespace paramcor

// The windows that write to the maker's support. The text correction window wired
// to its corrections, and the correction mails delivered to a real SMTP server on
// the loopback interface or left in the outbox. The about and versions windows on
// the sample installation, in the user's language, and the system information
// handed to support: copied, or mailed into the outbox when there is no server.
#include "MailTesting.h"
#include "WindowTesting.h"
#include "ui/info/FormInformazioni.h"
#include "ui/info/FormVersioni.h"
#include "texts/Corrections.h"
#include "ui/texts/FormTesto.h"
#include "ui/common/Mail.h"

#include <QApplication>
#include <QClipboard>
#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QStandardPaths>
#include <QtTest/QTest>

#include <functional>

namespace paramcor {
namespace {

using test::child;

void click(QWidget* form, const char* button) {
    QTest::mouseClick(child<QPushButton>(form, button), Qt::LeftButton);
}

class TextCorrection : public ::testing::Test {
protected:
    // The window's texts and the rows under test, in one user text file.
    void writeTexts(const std::vector<test::TextRow>& rows) {
        std::vector<test::TextRow> all = test::windowTexts();
        all.insert(all.end(), rows.begin(), rows.end());
        test::writeTextFile(installation.textDatabase(), all);
        installation.setLanguage(2);
    }
    static QStringList entries(QWidget* form) {
        QStringList texts;
        for (const QListWidgetItem* item : child<QListWidget>(form, "List1")->findItems("", Qt::MatchContains))
            texts << item->text();
        return texts;
    }
    static void search(QWidget* form, const char* box, const char* button, const QString& text) {
        child<QLineEdit>(form, box)->setText(text);
        click(form, button);
    }
    static void writeMailSettings(const std::map<QString, QString>& settings) {
        Parametri par;
        par.CurrentUser();
        par.Programma("Posta");
        for (const auto& [name, value] : settings)
            par.ScriviParametroStringa(name, value);
    }
    const std::vector<test::RecordedMessage>& messages() { return installation.platform().messages(); }

    test::WindowInstallation installation;
};

TEST_F(TextCorrection, TheWindowSearchesCorrectsAndMailsToTheOutboxWithoutAServer) {
    writeTexts({{"TAGLIO", "001", "Spessore", "Thickness", "20250101"},
                {"LUCIDA", "001", "Bordo", "Edge «à»", "20250101"}});
    Parametri par;
    test::onNextModal([&](QWidget* form) {
        EXPECT_FALSE(child<QPushButton>(form, "Aggiorna")->isEnabled());
        click(form, "Mail");  // nothing corrected yet
        auto* list = child<QListWidget>(form, "List1");
        search(form, "Testo1", "Cerca1", "bord");
        EXPECT_EQ(entries(form), QStringList({"Bordo"}));
        search(form, "Testo2", "Cerca2", "edge");
        EXPECT_EQ(entries(form), QStringList({"Edge «à»"}));
        EXPECT_EQ(list->palette().color(QPalette::Base), child<QLineEdit>(form, "Testo2")->palette().color(QPalette::Base));
        EXPECT_FALSE(child<QPushButton>(form, "Aggiorna")->isEnabled());
        list->setCurrentRow(0);
        EXPECT_EQ(child<QLineEdit>(form, "Testo1")->text(), "Bordo");
        search(form, "Testo2", "Aggiorna", "Edge");
        EXPECT_EQ(entries(form), QStringList({"Edge"}));
        click(form, "Mail");
        EXPECT_EQ(entries(form), QStringList({"Bordo"}));
        form->close();
    });
    const QDir outbox(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/CVLParamcor/Outbox");
    // One the user made before, open to all: taken, and closed to others.
    ASSERT_TRUE(QDir().mkpath(outbox.path()) && QFile::setPermissions(outbox.path(), QFile::Permissions(0x7755)));
    par.CambiaTesto();

    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[0].text + messages()[1].text,
              "Non ci sono testi tradotti da inviareNessun server di posta configurato: le mail sono nella cartella\n" +
                  QDir::toNativeSeparators(outbox.path()));
    const QStringList written = outbox.entryList({"*.eml"}, QDir::Files);
    ASSERT_EQ(written.size(), 1);
    // The user's folder, not the shared temporary one, and for the user alone.
    constexpr auto kOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                             QFile::WriteOther | QFile::ExeOther;
    EXPECT_FALSE(QFileInfo(outbox.path()).permissions().testAnyFlags(kOthers));
    EXPECT_FALSE(QFileInfo(outbox.filePath(written[0])).permissions().testAnyFlags(kOthers));
    const test::ReceivedMail mail = test::parseMail(test::fileBytes(outbox.filePath(written[0])));
    EXPECT_EQ(mail.body, QString("1:Bordo \n2:Edge \n \n").toUtf8());
}

TEST_F(TextCorrection, MailsReachARealServerAndAFailedSendSaysWhichWent) {
    test::SmtpServer server, failing(2);
    ASSERT_GT(server.port() * failing.port(), 0) << "the SMTP servers on loopback did not start";
    std::vector<test::TextRow> rows;
    for (int i = 1; i <= 250; ++i)
        rows.push_back({"TAGLIO", QString::number(i).rightJustified(3, '0'), QString("Testo %1").arg(i),
                        QString("Correzione n°%1 dell'àncora | fine").arg(i), "20250101", true});
    writeTexts(rows);
    writeMailSettings({{"ServerSMTP", "127.0.0.1"}, {"PortaSMTP", QString::number(server.port())},
                       {"SicurezzaSMTP", "nessuna"}, {"MittenteSMTP", "officina@example.com"}});
    Parametri par;
    ui::FormTesto form(par);
    click(&form, "Mail");
    EXPECT_TRUE(messages().empty());
    const auto sent = texts::Corrections(installation.textDatabase(), 2).mails({});
    const auto received = server.received();
    ASSERT_EQ(received.size(), 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(received[k].envelope, QStringList({"officina@example.com", "traduzioni@corvel.it"}));
        EXPECT_EQ(received[k].mail.headers.at("subject"), sent[k].subject.toUtf8());
        EXPECT_EQ(received[k].mail.body, sent[k].body.toUtf8());  // byte for byte, trailing blanks included
    }
    EXPECT_EQ(entries(&form).size(), 250);

    // The support address is in the registry for the administrator to change.
    writeMailSettings({{"IndirizzoAssistenza", "lingue@example.org"}, {"PortaSMTP", QString::number(failing.port())}});
    click(&form, "Mail");
    ASSERT_EQ(failing.received().size(), 1u);
    EXPECT_EQ(failing.received()[0].envelope, QStringList({"officina@example.com", "lingue@example.org"}));
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_TRUE(messages()[0].text.startsWith("Invio E-Mail non riuscito: ")) << messages()[0].text.toStdString();
    EXPECT_TRUE(messages()[0].text.endsWith("\nMail inviate: 1/3\nMail non inviate: 2/3, 3/3"));
    EXPECT_EQ(entries(&form).size(), 200);  // listed as each mail was being sent
}

TEST(CorrectionMail, ALongSubjectGoesInShortEncodedWordsOfWholeCharacters) {
    // The emoji starts on an odd unit, so its surrogate pair is not split by chance.
    const QString subject = QString("Correzioni più lunghe di una riga € ").repeated(4) + QString::fromUtf8("!😀");
    const QByteArray text = ui::mail::compose({"a@b.it", "c@d.it", subject, "corpo"}, QDateTime::currentDateTime());
    const qsizetype start = text.indexOf("\r\nSubject: ") + 2;
    const QList<QByteArray> lines = text.mid(start, text.indexOf("\r\nMessage-ID:") - start).split('\n');
    ASSERT_GT(lines.size(), 2);
    QByteArray decoded;
    for (const QByteArray& line : lines) {
        const QByteArray word = line.trimmed().mid(line.startsWith("Subject: ") ? 9 : 0);
        EXPECT_LE(line.trimmed().size() + 1, 76) << line.toStdString();
        ASSERT_TRUE(word.startsWith("=?UTF-8?B?") && word.endsWith("?=")) << word.toStdString();
        const QByteArray bytes = QByteArray::fromBase64(word.mid(10, word.size() - 12));
        EXPECT_EQ(QString::fromUtf8(bytes).toUtf8(), bytes);  // no character cut in two
        decoded += bytes;
    }
    EXPECT_EQ(QString::fromUtf8(decoded), subject);
    const QByteArray shortOne = ui::mail::compose({"a@b.it", "c@d.it", "Più", "corpo"}, QDateTime::currentDateTime());
    EXPECT_TRUE(shortOne.contains("\r\nSubject: =?UTF-8?B?")) << shortOne.toStdString();
}

TEST_F(TextCorrection, APortOutOfRangeFallsBackToTheSecuritysOwn) {
    const std::tuple<QString, QString, int> cases[] = {
        {"2525", "tls", 2525}, {"65536", "tls", 465}, {"0", "starttls", 587}, {"smtp", "", 25}};
    for (const auto& [port, security, used] : cases) {
        writeMailSettings({{"PortaSMTP", port}, {"SicurezzaSMTP", security}});
        Parametri par;
        EXPECT_EQ(ui::mail::readSettings(par).port, used) << port.toStdString();
    }
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
        {[&] { par.Informazioni("Taglio", "3.1.4"); }, "FormInformazioni"}, {[&] { par.Versioni(); }, "FormVersioni"}};
    for (const auto& [open, name] : openers) {
        QString opened;
        test::onNextModal([&](QWidget* window) { opened = window->objectName(), window->close(); });
        open();
        EXPECT_EQ(opened, name);
    }

    ui::FormInformazioni form(par, "Taglio", "3.1.4");
    EXPECT_EQ(form.windowTitle(), "About Taglio");
    EXPECT_EQ(child<QPushButton>(&form, "cmdSistema")->text(), "System information");
    for (const auto& [name, value] : {std::pair<const char*, QString>{"lblVersione", "3.1.4"},
                                      {"lblProdotto", "2026.2"}, {"lblTelefono", "+39 0423 123456"}})
        EXPECT_EQ(shown(&form, name), value) << name;
    EXPECT_TRUE(shown(&form, "lblAssistenza").contains("mailto:traduzioni@corvel.it"));
    test::activate(&form);
    // Centred when first shown; shown again, where the user put it.
    EXPECT_EQ(form.frameGeometry().center(), form.screen()->availableGeometry().center());
    form.move(10, 10), form.hide(), form.show();
    EXPECT_EQ(form.pos(), QPoint(10, 10));
    EXPECT_FALSE(child<QGroupBox>(&form, "fraSistema")->isVisible());
    click(&form, "cmdSistema");
    EXPECT_TRUE(child<QGroupBox>(&form, "fraSistema")->isVisible());
    QApplication::clipboard()->clear();
    click(&form, "cmdCopia");
    const QString copied = QApplication::clipboard()->text();
    EXPECT_EQ(copied, form.systemInformationText());
    // Whole sections, so that a value under another label or a line left out shows.
    EXPECT_TRUE(copied.startsWith("[Program]\nName: Taglio\nVersion: 3.1.4\n\n[System]\n")) << copied.toStdString();
    for (const QString& section :
         {QString("\n[Product versions]\nProduct: 2026.2\nUpgrade: 6.0\nMarble: \nGlass: 2026.1.7\nGlass CAM: 2026.1.2\n\n"),
          QString::fromUtf8("\n[Language and units]\nLanguage: 2 English\nUnits of measure: Metric Decimal System (0)\n"
                            "Currency: € euro\nlinear: m 1000\nareas: m² 1000000\nvolume: kg 1000000\n\n[Folders]\n"
                            "Temporary folder: ") +
              par.PercorsoTemp() + "\nWincor: " + platform.folder() + "/Wincor/\nTesti: " + texts + "\n"})
        EXPECT_TRUE(copied.contains(section)) << section.toStdString() << copied.toStdString();

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
    for (const auto& [name, value] :
         {std::pair<const char*, QString>{"txtAggiornamento", "6.0"}, {"txtVetroCam", "2026.1.2"}, {"txtFormato", "6.0.0"}})
        EXPECT_EQ(shown(&versions, name), value) << name;
    EXPECT_TRUE(QDate::fromString(shown(&versions, "txtData"), Qt::ISODate).isValid());
}

}  // namespace
}  // namespace paramcor

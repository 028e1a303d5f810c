// The text correction window: searches, corrections in the user text file that
// survive the next delivery, and the correction mails, delivered to a real SMTP
// server on the loopback interface or left in the outbox.
#include "FolderWindowsTesting.h"
#include "MailTesting.h"
#include "WindowTesting.h"
#include "texts/ui/FormTesto.h"
#include "texts/ui/mail/Mail.h"

#include <QApplication>
#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest/QTest>

#include <map>

namespace paramcor {
namespace {

using test::child;
using test::parseMail;
using test::ReceivedMail;
using test::SmtpServer;
using test::TextRow;

QString today() {
    return QDate::currentDate().toString("yyyyMMdd");
}

// The body the maker expects for these rows in language `language`.
QByteArray expectedBody(const std::vector<TextRow>& rows, std::size_t first, std::size_t last) {
    QByteArray body;
    for (std::size_t r = first; r < last; ++r)
        body += "1:" + rows[r].italiano.toUtf8() + " \n2:" + rows[r].inglese.toUtf8() + " \n \n";
    return body;
}

class TextCorrection : public ::testing::Test {
protected:
    TextCorrection() : installation(test::windowTexts()) {}

    // The window's texts and the rows under test, in one user text file.
    void writeTexts(const std::vector<TextRow>& rows) {
        std::vector<TextRow> all = test::windowTexts();
        all.insert(all.end(), rows.begin(), rows.end());
        test::writeTextFile(installation.textDatabase(), all);
    }
    std::vector<TextRow> rowsOf(const QString& programma) {
        std::vector<TextRow> found;
        for (const TextRow& r : test::readTextFile(installation.textDatabase()))
            if (r.programma == programma)
                found.push_back(r);
        return found;
    }
    static QStringList entries(QWidget* form) {
        auto* list = child<QListWidget>(form, "List1");
        QStringList texts;
        for (int i = 0; list != nullptr && i < list->count(); ++i)
            texts << list->item(i)->text();
        return texts;
    }
    static void search(QWidget* form, const char* box, const char* button, const QString& text) {
        auto* edit = child<QLineEdit>(form, box);
        edit->clear();
        // What the user types; QTest types ASCII keys only.
        edit->insert(text);
        QTest::mouseClick(child<QPushButton>(form, button), Qt::LeftButton);
    }
    static void click(QWidget* form, const char* button) {
        QTest::mouseClick(child<QPushButton>(form, button), Qt::LeftButton);
    }
    static void writeMailSetting(const QString& name, const QString& value) {
        Parametri par;
        par.CurrentUser();
        par.Programma("Posta");
        par.ScriviParametroStringa(name, value);
    }

    test::WindowInstallation installation;
};

TEST_F(TextCorrection, CambiaTestoOpensTheWindowOnlyOutsideItalian) {
    for (const short language : {1, 2}) {
        SCOPED_TRACE(language);
        installation.setLanguage(language);
        Parametri par;
        QString opened;
        QTimer::singleShot(0, [&] {
            if (QWidget* window = QApplication::activeModalWidget()) {
                opened = window->objectName();
                window->close();
            }
        });
        par.CambiaTesto();
        QApplication::processEvents();
        EXPECT_EQ(opened, language == 1 ? "" : "FormTesto");
    }
    EXPECT_TRUE(installation.platform().messages().empty());
}

TEST_F(TextCorrection, CaptionsAndTooltipsAreTranslated) {
    writeTexts({{"CVLPARAMCOR", "C001", "Cambio Testo", "Correct a text"},
                {"CVLPARAMCOR", "C002", "&Cerca", "&Find"},
                {"CVLPARAMCOR", "C003", "Invio alla CORVEL le mie traduzioni e correzioni", "Send my corrections"}});
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    EXPECT_EQ(form.windowTitle(), "Correct a text");
    EXPECT_EQ(child<QPushButton>(&form, "Cerca1")->text(), "&Find");
    EXPECT_EQ(child<QPushButton>(&form, "Cerca2")->text(), "&Find");
    EXPECT_EQ(child<QPushButton>(&form, "Mail")->toolTip(), "Send my corrections");
    // Wordings the file lacks come back as they are.
    EXPECT_EQ(child<QPushButton>(&form, "Aggiorna")->toolTip(), "Aggiorno il testo che ho corretto");
    EXPECT_FALSE(child<QPushButton>(&form, "Aggiorna")->isEnabled());
}

TEST_F(TextCorrection, AMissingUserTextFileIsReported) {
    installation.setLanguage(2);
    Parametri par;
    const QString path = par.Percorso("Testi") + "CvlTradU.mdb";
    ASSERT_TRUE(QFile::remove(path));
    ui::FormTesto form(par);
    const auto& messages = installation.platform().messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, "Missing " + path);
    EXPECT_EQ(messages[0].flags, mb::Critical);
    EXPECT_EQ(messages[0].title, "Cambio Testo");
    EXPECT_FALSE(child<QPushButton>(&form, "Cerca1")->isEnabled());
    EXPECT_FALSE(child<QPushButton>(&form, "Mail")->isEnabled());
}

TEST_F(TextCorrection, SearchesFindTextsThatContainApostrophesAndBarsWhateverTheirCase) {
    writeTexts({{"TAGLIO", "001", "L'angolo", "The angle"},
                {"TAGLIO", "002", "Taglio | Lucidatura", "Cut | polish"},
                {"TAGLIO", "003", "Dell'ANGOLO retto", "Of the right ANGLE"},
                {"TAGLIO", "004", "ÀNCORA di taglio", "Cutting anchor"},
                {"TAGLIO", "005", "Spessore", "Thickness"}});
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    test::activate(&form);
    auto* list = child<QListWidget>(&form, "List1");

    search(&form, "Testo1", "Cerca1", "l'angolo");
    EXPECT_EQ(entries(&form), QStringList({"Dell'ANGOLO retto", "L'angolo"}));
    EXPECT_EQ(list->palette().color(QPalette::Base),
              child<QLineEdit>(&form, "Testo1")->palette().color(QPalette::Base));
    search(&form, "Testo1", "Cerca1", "| luc");
    EXPECT_EQ(entries(&form), QStringList({"Taglio | Lucidatura"}));
    search(&form, "Testo1", "Cerca1", "àncora");
    EXPECT_EQ(entries(&form), QStringList({"ÀNCORA di taglio"}));
    search(&form, "Testo1", "Cerca1", "' OR 1=1 --");
    EXPECT_EQ(entries(&form), QStringList());

    search(&form, "Testo2", "Cerca2", "angle");
    EXPECT_EQ(entries(&form), QStringList({"Of the right ANGLE", "The angle"}));
    EXPECT_EQ(list->palette().color(QPalette::Base),
              child<QLineEdit>(&form, "Testo2")->palette().color(QPalette::Base));
    EXPECT_NE(list->palette().color(QPalette::Base),
              child<QLineEdit>(&form, "Testo1")->palette().color(QPalette::Base));
    search(&form, "Testo2", "Cerca2", "T |");
    EXPECT_EQ(entries(&form), QStringList({"Cut | polish"}));

    // Selecting an entry shows both wordings and allows the update.
    EXPECT_FALSE(child<QPushButton>(&form, "Aggiorna")->isEnabled());
    list->setCurrentRow(0);
    EXPECT_EQ(child<QLineEdit>(&form, "Testo1")->text(), "Taglio | Lucidatura");
    EXPECT_EQ(child<QLineEdit>(&form, "Testo2")->text(), "Cut | polish");
    EXPECT_TRUE(child<QPushButton>(&form, "Aggiorna")->isEnabled());
    EXPECT_TRUE(installation.platform().messages().empty());
}

TEST_F(TextCorrection, ACorrectionReachesEveryProgramsRowAndSurvivesTheNextDelivery) {
    const std::vector<TextRow> delivered{
        {"LUCIDA", "010", "Velocità", "Sped", "20250101"},
        {"ORDINI", "020", "velocità", "Sped", "20250101"},
        {"TAGLIO", "010", "Velocità", "Sped", "20250101"},
        {"TAGLIO", "011", "Velocità massima", "Max speed", "20250101"},
    };
    writeTexts(delivered);
    installation.setLanguage(2);
    {
        Parametri par;
        ui::FormTesto form(par);
        test::activate(&form);
        search(&form, "Testo1", "Cerca1", "VELOCITÀ");
        EXPECT_EQ(entries(&form), QStringList({"Velocità", "velocità", "Velocità", "Velocità massima"}));
        child<QListWidget>(&form, "List1")->setCurrentRow(0);
        auto* translation = child<QLineEdit>(&form, "Testo2");
        EXPECT_EQ(translation->text(), "Sped");
        translation->clear();
        QTest::keyClicks(translation, "Speed");
        click(&form, "Aggiorna");
        EXPECT_EQ(child<QListWidget>(&form, "List1")->item(0)->text(), "Speed");
    }
    for (const char* programma : {"LUCIDA", "ORDINI", "TAGLIO"}) {
        SCOPED_TRACE(programma);
        const std::vector<TextRow> rows = rowsOf(programma);
        ASSERT_FALSE(rows.empty());
        EXPECT_EQ(rows[0].inglese, "Speed");
        EXPECT_TRUE(rows[0].corretto);
        EXPECT_EQ(rows[0].dataModifica, today());
    }
    EXPECT_EQ(rowsOf("TAGLIO")[1], delivered[3]);

    // A delivery with newer dates: the corrections stay, the rest is updated.
    std::vector<TextRow> update = test::windowTexts();
    for (TextRow row : delivered) {
        row.dataModifica = "20990101";
        if (row.italiano == "Velocità massima")
            row.inglese = "Top speed";
        update.push_back(row);
    }
    test::writeTextFile(installation.textsFolder() + "CvlTrad.mdb", update);
    Parametri merged;
    EXPECT_TRUE(QFile::exists(installation.textsFolder() + "CvlTrad.mdb.old"));
    for (const char* programma : {"LUCIDA", "ORDINI", "TAGLIO"})
        EXPECT_EQ(rowsOf(programma)[0].inglese, "Speed") << programma;
    EXPECT_EQ(rowsOf("TAGLIO")[1].inglese, "Top speed");
    EXPECT_EQ(merged.Traduci("Velocità"), "Speed");
}

TEST_F(TextCorrection, WithNoCorrectionsThereIsNothingToSend) {
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    click(&form, "Mail");
    const auto& messages = installation.platform().messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, "Non ci sono testi tradotti da inviare");
    EXPECT_EQ(messages[0].flags, mb::Information);
}

TEST_F(TextCorrection, WithoutAServerTheMailsGoToTheOutboxAndTheUserIsTold) {
    writeTexts({{"TAGLIO", "001", "Spessore", "Thickness", "20250101", true},
                {"TAGLIO", "002", "Lastra", "Slab", "20250101", false},
                {"LUCIDA", "001", "Bordo", "Edge «à»", "20250101", true}});
    installation.setLanguage(2);
    Parametri par;
    const QDir outbox(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/CVLParamcor/Outbox");
    const QStringList before = outbox.entryList({"*.eml"}, QDir::Files);
    ui::FormTesto form(par);
    click(&form, "Mail");

    const auto& messages = installation.platform().messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, "Nessun server di posta configurato: le mail sono nella cartella\n" +
                                    QDir::toNativeSeparators(outbox.path()));
    EXPECT_EQ(messages[0].flags, mb::Information);
    QStringList written = outbox.entryList({"*.eml"}, QDir::Files);
    for (const QString& old : before)
        written.removeAll(old);
    ASSERT_EQ(written.size(), 1);
    // The user's folder, not the shared temporary one, and for the user alone.
    constexpr auto kOthers =
        QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    EXPECT_FALSE(QFileInfo(outbox.path()).permissions().testAnyFlags(kOthers));
    EXPECT_FALSE(QFileInfo(outbox.filePath(written[0])).permissions().testAnyFlags(kOthers));
    const ReceivedMail mail = parseMail(test::fileBytes(outbox.filePath(written[0])));
    EXPECT_EQ(mail.headers.at("subject"), "[CVLTRAD] Lang=2 (Mail 1/1)");
    EXPECT_EQ(mail.headers.at("to"), "<traduzioni@corvel.it>");
    EXPECT_EQ(mail.body, QString("1:Bordo \n2:Edge «à» \n \n1:Spessore \n2:Thickness \n \n").toUtf8());
    EXPECT_EQ(entries(&form), QStringList({"Bordo", "Spessore"}));
}

TEST(CorrectionMail, ALongSubjectGoesInShortEncodedWordsOfWholeCharacters) {
    const QString subject = QString("Correzioni più lunghe di una riga € ").repeated(4) + QString::fromUtf8("😀");
    const QByteArray text = ui::mail::compose({"a@b.it", "c@d.it", subject, "corpo"}, QDateTime::currentDateTime());
    const qsizetype start = text.indexOf("\r\nSubject: ") + 2;
    const QList<QByteArray> lines = text.mid(start, text.indexOf("\r\nMessage-ID:") - start).split('\n');
    ASSERT_GT(lines.size(), 2);
    QByteArray decoded;
    for (const QByteArray& line : lines) {
        const QByteArray word = line.trimmed().mid(line.startsWith("Subject: ") ? 9 : 0);
        EXPECT_LE(line.trimmed().size() + 1, 76) << line.toStdString();
        EXPECT_LE(word.size(), 75);
        ASSERT_TRUE(word.startsWith("=?UTF-8?B?") && word.endsWith("?=")) << word.toStdString();
        const QByteArray bytes = QByteArray::fromBase64(word.mid(10, word.size() - 12));
        EXPECT_EQ(QString::fromUtf8(bytes).toUtf8(), bytes);  // no character cut in two
        decoded += bytes;
    }
    EXPECT_EQ(QString::fromUtf8(decoded), subject);
}

class CorrectionMails : public TextCorrection {
protected:
    // 250 corrections, in the order of their Italian wording.
    std::vector<TextRow> corrections() const {
        std::vector<TextRow> rows;
        for (int i = 1; i <= 250; ++i) {
            const QString n = QStringLiteral("%1").arg(i, 3, 10, QLatin1Char('0'));
            rows.push_back({"TAGLIO", n, "Testo " + n, "Correzione n°" + n + " dell'àncora | fine", "20250101", true});
        }
        return rows;
    }
    void useServer(int port) {
        writeMailSetting("ServerSMTP", "127.0.0.1");
        writeMailSetting("PortaSMTP", QString::number(port));
        writeMailSetting("SicurezzaSMTP", "nessuna");
        writeMailSetting("MittenteSMTP", "officina@example.com");
    }
};

TEST_F(CorrectionMails, TwoHundredFiftyCorrectionsArriveAsThreeMailsInTheAgreedFormat) {
    SmtpServer server;
    ASSERT_GT(server.port(), 0) << "the SMTP server on loopback did not start";
    const std::vector<TextRow> rows = corrections();
    std::vector<TextRow> all = rows;
    all.push_back({"TAGLIO", "999", "Non corretto", "Not corrected", "20250101", false});
    writeTexts(all);
    useServer(server.port());
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    click(&form, "Mail");
    EXPECT_TRUE(installation.platform().messages().empty());

    const auto received = server.received();
    ASSERT_EQ(received.size(), 3u);
    const std::size_t bounds[] = {0, 100, 200, 250};
    for (std::size_t k = 0; k < 3; ++k) {
        SCOPED_TRACE(k + 1);
        EXPECT_EQ(received[k].envelope, QStringList({"officina@example.com", "traduzioni@corvel.it"}));
        const ReceivedMail& mail = received[k].mail;
        EXPECT_EQ(mail.headers.at("subject"), QStringLiteral("[CVLTRAD] Lang=2 (Mail %1/3)").arg(k + 1).toUtf8());
        EXPECT_EQ(mail.headers.at("from"), "<officina@example.com>");
        EXPECT_EQ(mail.headers.at("to"), "<traduzioni@corvel.it>");
        EXPECT_EQ(mail.body, expectedBody(rows, bounds[k], bounds[k + 1]));
        EXPECT_EQ(mail.body.count("\n \n"), static_cast<qsizetype>(bounds[k + 1] - bounds[k]));
    }
    QStringList sent;
    for (const TextRow& r : rows)
        sent << r.italiano;
    EXPECT_EQ(entries(&form), sent);

    // The support address is in the registry for the administrator to change.
    par.CurrentUser();
    par.Programma("Posta");
    EXPECT_EQ(par.LeggiParametroStringa("IndirizzoAssistenza"), "traduzioni@corvel.it");
}

TEST_F(CorrectionMails, AConfiguredSupportAddressIsUsed) {
    SmtpServer server;
    ASSERT_GT(server.port(), 0) << "the SMTP server on loopback did not start";
    writeTexts({{"TAGLIO", "001", "Spessore", "Thickness", "20250101", true}});
    useServer(server.port());
    writeMailSetting("IndirizzoAssistenza", "lingue@example.org");
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    click(&form, "Mail");
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].envelope, QStringList({"officina@example.com", "lingue@example.org"}));
    EXPECT_EQ(received[0].mail.headers.at("subject"), "[CVLTRAD] Lang=2 (Mail 1/1)");
}

TEST_F(CorrectionMails, AFailedSendStopsAndSaysWhichMailsWentAndWhichDidNot) {
    SmtpServer server(2);
    ASSERT_GT(server.port(), 0) << "the SMTP server on loopback did not start";
    writeTexts(corrections());
    useServer(server.port());
    installation.setLanguage(2);
    Parametri par;
    ui::FormTesto form(par);
    click(&form, "Mail");

    EXPECT_EQ(server.received().size(), 1u);
    const auto& messages = installation.platform().messages();
    ASSERT_EQ(messages.size(), 1u);
    const QStringList lines = messages[0].text.split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].startsWith("Invio E-Mail non riuscito: ")) << lines[0].toStdString();
    EXPECT_EQ(lines[1], "Mail inviate: 1/3");
    EXPECT_EQ(lines[2], "Mail non inviate: 2/3, 3/3");
    EXPECT_EQ(messages[0].flags, mb::Critical);
    // The rows of the mail that failed were listed as it was being sent.
    EXPECT_EQ(entries(&form).size(), 200);
}

}  // namespace
}  // namespace paramcor

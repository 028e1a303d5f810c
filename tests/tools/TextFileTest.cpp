// testi esporta, importa and crea: the text database to and from translators' PO
// files, all or nothing, and new databases in the suite's layout.
#include "ToolTesting.h"

#include <QDate>
#include <QFileInfo>
#include <QProcess>

namespace paramcor::test {
namespace {

// An entry as gettext's tools write a short one.
QString entry(const QStringList& text, const QString& translation) {
    return QStringLiteral("msgctxt \"%1|%2\"\nmsgid \"%3\"\nmsgstr \"%4\"\n")
        .arg(text[0], text[1], text[2], translation);
}

// An export gettext's tools take as it is, and a translator's edits back in: only
// the edited rows change, marked as the customer's; unsure or outdated entries are
// left out and named.
TEST(ParamcorTextFiles, ExportedEditedAndImported) {
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"lingua"}).code, 0);  // delivers the texts
    const QString all = QStringLiteral("SELECT * FROM Testi ORDER BY Programma, Progressivo");
    const QStringList before = query(workshop.userTexts(), all);
    const QString file = workshop.path("deutsch.po");
    const Outcome exported = workshop.run({"testi", "esporta", "--lingua", "3", file});
    ASSERT_TRUE(exported.code == 0 && exported.err.isEmpty()) << exported;
    const QString texts = query(workshop.userTexts(), "SELECT count(*) FROM Testi WHERE Programma <> 'PARAM'").value(0);
    // Told in the language of the texts exported.
    EXPECT_TRUE(exported.out.startsWith(texts + QStringLiteral(" Texte von Testo_03 (Deutsch) aus "))) << exported;
    QProcess msgfmt;
    msgfmt.start(QStringLiteral("msgfmt"), {"-c", "-o", "/dev/null", file});
    EXPECT_TRUE(msgfmt.waitForFinished(60000) && msgfmt.exitCode() == 0 && msgfmt.readAllStandardError().isEmpty());
    ASSERT_EQ(workshop.run({"testi", "importa", file}).code, 0);  // as it was: nothing changes
    EXPECT_EQ(query(workshop.userTexts(), all), before);

    QString po = QString::fromUtf8(fileBytes(file));
    EXPECT_TRUE(po.contains(QStringLiteral("\n\"Language: de\\n\"\n")));
    const QList<QStringList> edited = plainTexts(workshop.userTexts(), 3);
    ASSERT_EQ(edited.size(), 3);
    for (const QStringList& text : edited)
        ASSERT_TRUE(po.contains(entry(text, text[3]))) << text.join(u'|').toStdString();
    po.replace(entry(edited[0], edited[0][3]), entry(edited[0], QStringLiteral("Neu")));
    po.replace(entry(edited[1], edited[1][3]), "#, fuzzy\n" + entry(edited[1], QStringLiteral("Unsicher")));
    QStringList outdated = edited[2];
    outdated[2] += QStringLiteral(" vecchia");
    po.replace(entry(edited[2], edited[2][3]), entry(outdated, QStringLiteral("Alt")));
    writeFile(file, po.toUtf8());

    const Outcome run = workshop.run({"testi", "importa", file});
    EXPECT_TRUE(run.out.contains(QStringLiteral("into Testo_03 (Deutsch) of %1: 1 texts changed").arg(workshop.userTexts())))
        << run;
    EXPECT_TRUE(run.err.contains(QStringLiteral("paramcor: warning: %1|%2 \"%3\" left out: marked fuzzy")
                                     .arg(edited[1][0], edited[1][1], edited[1][2])))
        << run;
    EXPECT_TRUE(run.err.contains(QStringLiteral("left out: it translates an older Italian wording"))) << run;
    EXPECT_EQ(query(workshop.userTexts(),
                    "SELECT Testo_03, DataModifica, substr(Tradotti, 3, 1), ModificatoDalCliente FROM Testi "
                    "WHERE Programma = ?1 AND Progressivo = ?2",
                    {edited[0][0], edited[0][1]}),
              QStringList{"Neu " + QDate::currentDate().toString(QStringLiteral("yyyyMMdd")) + " T 1"});
    EXPECT_EQ(query(workshop.userTexts(), "SELECT count(*) FROM Testi WHERE Testo_03 IN ('Unsicher', 'Alt')"),
              QStringList{"0"});
}

TEST(ParamcorTextFiles, AFaultyFileIsRefusedAndNothingIsImported) {
    const QByteArray header =
        "msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n\"Language: en-GB\\n\"\n\n";
    const struct {
        QByteArray bytes;  // "@ENTRY@" stands for a good change, kept out too
        const char* says;
    } faults[] = {
        {header + "@ENTRY@\nthis is not a PO file\n", ":10: "},
        {header + "@ENTRY@\n@ENTRY@", ":11: duplicate message definition"},
        {header + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"Perch\xE9\"\nmsgstr \"Why\"\n",
         ":11: the line is not valid UTF-8"},
        {header + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"a\"\nmsgstr \"\xED\xA0\x80\"\n",
         ":12: the line is not valid UTF-8"},
        {"msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n\n@ENTRY@",
         ":1: it is written in ISO-8859-1"},
        {windowsText(QString::fromUtf8(header + "@ENTRY@")), ":1: it is UTF-16 text"},
        {header + "@ENTRY@\nmsgctxt \"X\"\nmsgid \"Ciao\"\nmsgstr \"Hello\"\n", ":11: \"Ciao\" has no key"},
        {header + "@ENTRY@\n#~ msgid \"Vecchio\"\n#~ msgstr \"Old\"\n\nmsgid \"Ciao\"\nmsgstr \"Hello\"\n",
         ":13: \"Ciao\" has no key"},
        {header +
             "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"lastra\"\nmsgid_plural \"lastre\"\nmsgstr[0] \"a\"\nmsgstr[1] \"b\"\n",
         ":11: \"lastra\" has plural forms"},
        {"msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n\n@ENTRY@",
         "does not say which language"},
        {QByteArray(100, '\0'), ":1: unexpected encoding"},
    };
    const Workshop workshop;
    ASSERT_EQ(workshop.run({"lingua"}).code, 0);
    const QStringList before = query(workshop.userTexts(), "SELECT * FROM Testi ORDER BY Programma, Progressivo");
    const QStringList text = plainTexts(workshop.userTexts(), 1).value(0);
    const QString file = workshop.path("guasto.po");
    for (const auto& f : faults) {
        writeFile(file, QByteArray(f.bytes).replace("@ENTRY@", entry(text, QStringLiteral("Changed")).toUtf8()));
        const Outcome run = workshop.run({"testi", "importa", file});
        expectRefused(run, 1, QString::fromUtf8(f.says));
        EXPECT_TRUE(run.err.startsWith(QStringLiteral("paramcor: testi importa: ") + file)) << run;
    }
    expectRefused(workshop.run({"testi", "importa", workshop.path("mancante.po")}), 1, "no such file");
    EXPECT_EQ(query(workshop.userTexts(), "SELECT * FROM Testi ORDER BY Programma, Progressivo"), before);
    expectRefused(workshop.run({"testi", "esporta", "--lingua", "2", workshop.path("no/such/b.po")}), 1, "b.po");
}

TEST(ParamcorTextFiles, ANewDatabaseHasTheSuitesLayout) {
    const Workshop workshop;
    const QString file = workshop.path("CvlTrad.mdb");
    const Outcome run = workshop.run({"testi", "crea", file});
    ASSERT_TRUE(run.code == 0 && run.err.isEmpty()) << run;
    // The library reads it (the columns' names are in its queries), and finds it empty.
    expectRefused(workshop.run({"misure", "--file", file, "--lingua", "2"}), 1,
                  file + " has no unit row 01_SYS, 02_VAL, 03_LIN, 04_SUP, 05_VOL");
    EXPECT_EQ(query(file, "SELECT Versione FROM Versione"), QStringList{"6.0.0"});
    EXPECT_EQ(query(file, "SELECT name, \"unique\" FROM pragma_index_list('Testi') ORDER BY name"),
              (QStringList{"TestiK1 1", "TestiK2 0"}));
    EXPECT_EQ(query(file, "SELECT name, coll FROM pragma_index_xinfo('TestiK1') WHERE key ORDER BY seqno"),
              (QStringList{"Programma NOCASE", "Progressivo NOCASE"}));
    // Never made over an existing file.
    const QByteArray kept = fileBytes(file);
    expectRefused(workshop.run({"testi", "crea", file}), 1, file);
    EXPECT_EQ(fileBytes(file), kept);
}

}  // namespace
}  // namespace paramcor::test

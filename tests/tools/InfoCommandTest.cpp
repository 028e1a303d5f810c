// paramcor informazioni: the system information of the about window, read out on
// the telephone, with the real places and versions of the workshop.
#include "ToolTesting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace paramcor::test {
namespace {

TEST(ParamcorInformazioni, PrintsTheFactsSupportAsksFor) {
    const Workshop workshop;
    {
        SqliteRegistryStore store = workshop.store();
        setValue(store, Hive::LocalMachine, "SOFTWARE\\Corvel", "Version", regtype::String, utf8("2026.2"));
        setValue(store, Hive::LocalMachine, "SOFTWARE\\Corvel", "VersioneProdottoVetroCam", regtype::String,
                 utf8("2026.1.2"));
    }
    const Outcome english = workshop.run({"informazioni"});
    ASSERT_EQ(english.code, 0) << english;
    EXPECT_TRUE(english.err.isEmpty()) << english;
    const QString installation = workshop.installation() + u'/';
    const QString wincor = installation + "Wincor/";
    const QStringList expected{
        "[Product versions]\nProduct: 2026.2\nUpgrade: 6.0\n",
        "Glass CAM: 2026.1.2\n",
        "Current user: " + workshop.registry() + "/HKEY_CURRENT_USER.db\n",
        "Local machine: " + workshop.registry() + "/HKEY_LOCAL_MACHINE.db\n",
        "Installation folder: " + installation + "\nInstallation file: " + installation + "ParamCor.txt\n",
        "Text database: " + workshop.userTexts() + "\nFormat version: 6.0.0\n" +
            "Rows: " + query(workshop.userTexts(), "SELECT COUNT(*) FROM Testi").value(0) + "\n",
        "Language: 2 English\n",
        "Units of measure: Metric Decimal System (0)\n",
        "DXF: " + wincor + "Disegni/Dxf/\n",
        "Archivio: /srv/cvl/archivio/\n",
        "\n[Disk space (free / total)]\n",
    };
    for (const QString& fact : expected)
        EXPECT_TRUE(english.out.contains(fact)) << fact.toStdString() << "\nin:\n" << english.out.toStdString();

    // The workshop's user reads English; the option chooses another language.
    const Outcome italian = workshop.run({"informazioni", "--lingua", "1"});
    ASSERT_EQ(italian.code, 0) << italian;
    EXPECT_TRUE(italian.out.contains("[Versioni del prodotto]\nProdotto: 2026.2\n")) << italian;
    EXPECT_TRUE(italian.out.contains("Lingua: 1 Italiano\n")) << italian;

    // The same as sections of captions and values, in their order.
    const Outcome json = workshop.run({"informazioni", "--json"});
    ASSERT_EQ(json.code, 0) << json;
    const QJsonArray sections = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_GE(sections.size(), 2) << json;
    EXPECT_EQ(sections[1].toObject()["titolo"], "Product versions");
    EXPECT_EQ(sections[1].toObject()["voci"].toArray()[0].toObject(),
              QJsonObject({{"voce", "Product"}, {"valore", "2026.2"}}));
}

}  // namespace
}  // namespace paramcor::test

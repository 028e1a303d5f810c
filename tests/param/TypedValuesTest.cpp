// Typed reads and writes: the bytes in the store, defaults, debug mode and the
// messages a client sees.
#include "param/registry/MainParametri.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QDate>

#include <gtest/gtest.h>

#include <bit>

namespace paramcor {
namespace {

using test::putValue;
using test::storedValue;
using test::TestPlatform;

using Bytes = std::vector<std::uint8_t>;

const std::string kKey = "SOFTWARE\\Prog";

// Every test works under program "Prog" of the current user, with no maker root.
class TypedValues : public ::testing::Test {
protected:
    void SetUp() override { par.Programma("Prog"); }

    test::StoredValue stored(const std::string& name) {
        return storedValue(platform.store(), Hive::CurrentUser, kKey, name);
    }
    void put(const std::string& name, std::uint32_t type, const Bytes& bytes) {
        putValue(platform.store(), Hive::CurrentUser, kKey, name, type, bytes);
    }
    const std::vector<test::RecordedMessage>& messages() { return platform.messages(); }

    TestPlatform platform;
    Parametri par;
};

// Same value and same interface type.
void expectSame(const QVariant& actual, const QVariant& expected) {
    EXPECT_EQ(actual.metaType(), expected.metaType()) << actual.typeName() << " vs " << expected.typeName();
    EXPECT_EQ(actual, expected);
}

TEST_F(TypedValues, EachTypeHasItsRegistryEncoding) {
    struct Case {
        QVariant value;
        std::uint32_t type;
        Bytes bytes;
        QVariant otherDefault;  // same type, another value: the read must not return it
        QVariant readBack;
    };
    const QString accented = QString::fromUtf8("Lastra è");
    const Case cases[] = {
        {Integer(-2), regtype::Binary, {0xFE, 0xFF}, Integer(7), Integer(-2)},
        {Long(0x01020304), regtype::Dword, {4, 3, 2, 1}, Long(7), Long(0x01020304)},
        {Long(-1), regtype::Dword, {0xFF, 0xFF, 0xFF, 0xFF}, Long(7), Long(-1)},
        {Single(1.5f), regtype::Dword, {0, 0, 0xC0, 0x3F}, Single(7), Single(1.5f)},
        {Double(1.5), regtype::Binary, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}, Double(7), Single(0.0f)},
        {String(accented),
         regtype::String,
         {'L', 'a', 's', 't', 'r', 'a', ' ', 0xC3, 0xA8},
         String("x"),
         String(accented)},
        {String(""), regtype::String, {}, String("x"), String("")},
        {Boolean(true), regtype::Binary, {1}, Boolean(false), Boolean(true)},
        {Boolean(false), regtype::Binary, {0}, Boolean(true), Boolean(false)},
    };
    int n = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value.toString().toStdString() + " " + c.value.typeName());
        const QString name = QStringLiteral("Value%1").arg(++n);
        expectSame(par.ScriviParametro(name, c.value), Empty());
        const auto value = stored(name.toStdString());
        ASSERT_TRUE(value.found);
        EXPECT_EQ(value.type, c.type);
        EXPECT_EQ(value.bytes, c.bytes);
        expectSame(par.LeggiParametro(name, c.otherDefault), c.readBack);
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(TypedValues, MissingValueStoresTheDefaultUnlessItEqualsEmpty) {
    expectSame(par.LeggiParametro("Giri", Long(5)), Long(5));
    EXPECT_EQ(stored("Giri").bytes, (Bytes{5, 0, 0, 0}));
    expectSame(par.LeggiParametro("Giri", Long(9)), Long(5));

    for (const QVariant& zero : {Integer(0), Long(0), Single(0.0f), Double(0.0), String(""), Boolean(false)}) {
        SCOPED_TRACE(zero.typeName());
        expectSame(par.LeggiParametro("Zero", zero), zero);
        EXPECT_FALSE(stored("Zero").found);
    }
    EXPECT_EQ(par.LeggiParametroStringa("Nome"), "");
    EXPECT_EQ(par.LeggiParametroStringa("Nome", Null()), "");
    EXPECT_FALSE(stored("Nome").found);
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("Marmo")), "Marmo");
    EXPECT_EQ(stored("Nome").bytes, (Bytes{'M', 'a', 'r', 'm', 'o'}));
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("Vetro")), "Marmo");

    // The first read hands the Double back as given, the next as the suite reads Doubles.
    const double withSingleInLowBytes = std::bit_cast<double>(0x3FF0000040200000ull);
    expectSame(par.LeggiParametro("Spessore", Double(withSingleInLowBytes)), Double(withSingleInLowBytes));
    expectSame(par.LeggiParametro("Spessore", Double(1.0)), Single(2.5f));
    EXPECT_TRUE(messages().empty());
}

TEST_F(TypedValues, DebugModeReportsMissingValuesAndStoresNothing) {
    par.ModoDebug(true);
    expectSame(par.LeggiParametro("Giri", Long(5)), Long(0));
    expectSame(par.LeggiParametro("Giri", Double(2.5)), Single(0.0f));
    expectSame(par.LeggiParametro("Giri", Boolean(true)), Boolean(false));
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("x")), "");
    EXPECT_FALSE(stored("Giri").found);
    EXPECT_FALSE(stored("Nome").found);
    ASSERT_EQ(messages().size(), 4u);
    EXPECT_EQ(messages()[0].text, "WARNING! Variable invalid : Giri\nin SOFTWARE\\Prog");
    EXPECT_EQ(messages()[0].flags, 48);
    EXPECT_TRUE(messages()[0].title.isNull());
    EXPECT_EQ(messages()[3].text, "WARNING! Variable invalid :Nome\nin SOFTWARE\\Prog");
    EXPECT_EQ(messages()[3].flags, 48);
}

TEST_F(TypedValues, SuppressedDefaultWriteStoresNothing) {
    MainParametri::instance().setSkipDefaultWrite(true);
    expectSame(par.LeggiParametro("Giri", Long(5)), Long(0));
    expectSame(par.LeggiParametro("Giri", Integer(5)), Integer(0));
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("x")), "x");
    EXPECT_FALSE(stored("Giri").found);
    EXPECT_FALSE(stored("Nome").found);
    EXPECT_TRUE(messages().empty());
}

TEST_F(TypedValues, StoredValueOfAnotherTypeIsAMismatchOrDoesNotFit) {
    par.ScriviParametro("Piccolo", Integer(3));
    // Two bytes fit a Long's buffer, but they are not a Long: reported, left alone.
    EXPECT_EQ(par.LeggiParametro("Piccolo", Long(5)), QVariant());
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text, "ERROR! Variable Piccolo\n type mismatch.");
    EXPECT_EQ(messages()[0].flags, 48);
    EXPECT_EQ(stored("Piccolo").bytes, (Bytes{3, 0}));

    // Four bytes do not fit an Integer's buffer: taken as missing, so overwritten.
    par.ScriviParametro("Grande", Long(70000));
    expectSame(par.LeggiParametro("Grande", Integer(4)), Integer(4));
    EXPECT_EQ(stored("Grande").type, regtype::Binary);
    EXPECT_EQ(stored("Grande").bytes, (Bytes{4, 0}));

    par.ScriviParametro("Testo", String("ab"));
    EXPECT_EQ(par.LeggiParametro("Testo", Integer(1)), QVariant());  // 2 bytes, wrong type
    par.ScriviParametro("Numero", Long(1));
    EXPECT_EQ(par.LeggiParametro("Numero", String("x")), QVariant());
    EXPECT_EQ(par.LeggiParametroStringa("Numero"), QString::fromLatin1("\x01\0\0", 3));  // type not checked
    EXPECT_EQ(messages().size(), 3u);

    put("Vero", regtype::Binary, {2});
    expectSame(par.LeggiParametro("Vero", Boolean(false)), Boolean(true));
    put("Reale", regtype::Dword, {0, 0, 0x80, 0xBF});
    expectSame(par.LeggiParametro("Reale", Single(0.5f)), Single(-1.0f));
}

TEST_F(TypedValues, OtherTypesAreRefused) {
    const QVariant others[] = {Empty(),
                               Null(),
                               QVariant::fromValue(qlonglong(5)),
                               QVariant(QDate(2026, 11, 22)),
                               QVariant::fromValue(5u),
                               QVariant::fromValue(QByteArray("ab"))};
    for (const QVariant& other : others) {
        SCOPED_TRACE(other.typeName() ? other.typeName() : "Empty");
        const auto before = messages().size();
        EXPECT_EQ(par.LeggiParametro("Altro", other), QVariant());
        expectSame(par.ScriviParametro("Altro", other), Empty());
        ASSERT_EQ(messages().size(), before + 2);
        EXPECT_EQ(messages()[before].text,
                  "ERROR! Variable : Altro\nRegistry can handle only Integer, Long, Single and String.");
        EXPECT_EQ(messages()[before].flags, 48);
        EXPECT_EQ(messages()[before + 1].text, "ERROR! Registry can handle only Integer, Long, Single and String.");
        EXPECT_EQ(messages()[before + 1].flags, 48);
    }
    EXPECT_FALSE(stored("Altro").found);
    EXPECT_EQ(MainParametri::instance().openKey(), 0u);
}

TEST_F(TypedValues, StringsAreLimitedTo255Characters) {
    const QString longest(255, QChar(u'è'));
    par.ScriviParametroStringa("Lungo", longest);
    EXPECT_EQ(par.LeggiParametroStringa("Lungo"), longest);
    EXPECT_EQ(par.LeggiParametro("Lungo", String("x")), longest);

    const QString tooLong(256, u'x');
    par.ScriviParametro("Troppo", tooLong);
    ASSERT_EQ(messages().size(), 1u);
    EXPECT_EQ(messages()[0].text, "ERROR! String parameters maximum lenght is 255!");
    EXPECT_EQ(messages()[0].flags, 48);
    EXPECT_EQ(platform.boxes().beeps, 1);
    EXPECT_EQ(MainParametri::instance().openKey(), 0u);

    // The string write refuses it as a hard error and leaves the key open until
    // the next access.
    par.ScriviParametroStringa("Troppo", tooLong);
    ASSERT_EQ(messages().size(), 2u);
    EXPECT_EQ(messages()[1].flags, 16);
    EXPECT_EQ(platform.boxes().beeps, 2);
    EXPECT_NE(MainParametri::instance().openKey(), 0u);
    par.ScriviParametroStringa("Troppo", QString(10000, u'y'));
    EXPECT_EQ(messages().size(), 3u);
    EXPECT_EQ(par.LeggiParametroStringa("Altro"), "");
    EXPECT_EQ(MainParametri::instance().openKey(), 0u);
    EXPECT_FALSE(stored("Troppo").found);

    // Written by another program, a longer string does not fit: it counts as missing.
    put("Esterno", regtype::String, Bytes(300, 'z'));
    EXPECT_EQ(par.LeggiParametroStringa("Esterno", String("corto")), "corto");
    EXPECT_EQ(stored("Esterno").bytes, (Bytes{'c', 'o', 'r', 't', 'o'}));
    put("Esterno", regtype::String, Bytes(256, 'z'));
    expectSame(par.LeggiParametro("Esterno", String("corto")), String("corto"));
}

TEST_F(TypedValues, StringsFromOtherProgramsKeepEveryCharacter) {
    // With or without a terminating zero counted in the size, the whole text comes back.
    put("Senza", regtype::String, {'a', 'b', 'c'});
    put("Con", regtype::String, {'a', 'b', 'c', 0});
    put("Vuoto", regtype::String, {});
    for (const char* name : {"Senza", "Con"}) {
        EXPECT_EQ(par.LeggiParametroStringa(name), "abc") << name;
        EXPECT_EQ(par.LeggiParametro(name, String("x")), String("abc")) << name;
    }
    EXPECT_EQ(par.LeggiParametroStringa("Vuoto", String("d")), "");
    EXPECT_EQ(stored("Vuoto").bytes, Bytes{});

    const QString withZero = QString::fromLatin1("a\0b", 3);
    par.ScriviParametroStringa("Zero", withZero);
    EXPECT_EQ(stored("Zero").bytes, (Bytes{'a', 0, 'b'}));
    EXPECT_EQ(par.LeggiParametroStringa("Zero"), withZero);
    EXPECT_TRUE(messages().empty());
}

TEST_F(TypedValues, UnusualNamesAreValueNamesLikeAnyOther) {
    par.ScriviParametroStringa("", "predefinito");
    EXPECT_EQ(stored("").bytes, (Bytes{'p', 'r', 'e', 'd', 'e', 'f', 'i', 'n', 'i', 't', 'o'}));
    const QString longName(10000, u'n');
    par.ScriviParametro(longName, Long(4));
    EXPECT_EQ(par.LeggiParametro(longName, Long(1)), Long(4));
    par.ScriviParametro("a\\b", Long(6));
    EXPECT_EQ(par.LeggiParametro("A\\B", Long(1)), Long(6));
    EXPECT_TRUE(stored("a\\b").found);
    EXPECT_TRUE(messages().empty());
}

}  // namespace
}  // namespace paramcor

// Typed reads and writes: the bytes in the store, defaults, debug mode and the
// messages a client sees.
#include "selection/MainParametri.h"
#include "support/TestPlatform.h"

#include <CVLParamcor/Parametri.h>

#include <QDate>

#include <gtest/gtest.h>

#include <bit>

namespace paramcor {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Every test works under program "Prog" of the current user, with no maker root.
class TypedValues : public ::testing::Test {
protected:
    void SetUp() override { par.Programma("Prog"); }

    test::StoredValue stored(const std::string& name) {
        return test::storedValue(platform.store(), Hive::CurrentUser, "SOFTWARE\\Prog", name);
    }
    void put(const std::string& name, std::uint32_t type, const Bytes& bytes) {
        test::putValue(platform.store(), Hive::CurrentUser, "SOFTWARE\\Prog", name, type, bytes);
    }
    test::TestPlatform platform;
    Parametri par;
};

// Same value and same interface type.
void expectSame(const QVariant& actual, const QVariant& expected) {
    EXPECT_EQ(actual.metaType(), expected.metaType()) << actual.typeName() << " vs " << expected.typeName();
    EXPECT_EQ(actual, expected);
}

TEST_F(TypedValues, EachTypeHasItsRegistryEncoding) {
    const struct {
        QVariant value;
        std::uint32_t type;
        Bytes bytes;
        QVariant otherDefault;  // same type, another value: the read must not return it
        QVariant readBack;
    } cases[] = {
        {Integer(-2), regtype::Binary, {0xFE, 0xFF}, Integer(7), Integer(-2)},
        {Long(0x01020304), regtype::Dword, {4, 3, 2, 1}, Long(7), Long(0x01020304)},
        {Single(1.5f), regtype::Dword, {0, 0, 0xC0, 0x3F}, Single(7), Single(1.5f)},
        {Double(1.5), regtype::Binary, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}, Double(7), Single(0.0f)},
        {String("Lastra è"), regtype::String, {'L', 'a', 's', 't', 'r', 'a', ' ', 0xC3, 0xA8}, String("x"), String("Lastra è")},
        {String(""), regtype::String, {}, String("x"), String("")},
        {Boolean(true), regtype::Binary, {1}, Boolean(false), Boolean(true)},
        {Boolean(false), regtype::Binary, {0}, Boolean(true), Boolean(false)},
    };
    int n = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value.toString().toStdString() + " " + c.value.typeName());
        const QString name = QStringLiteral("Value%1").arg(++n);
        expectSame(par.ScriviParametro(name, c.value), Empty());
        const auto value = stored(name.toStdString());
        EXPECT_TRUE(value.found && value.type == c.type && value.bytes == c.bytes);
        expectSame(par.LeggiParametro(name, c.otherDefault), c.readBack);
    }
    // Written by other programs: a Boolean is any non-zero byte, a string with or
    // without its terminating zero, or with zeros inside.
    put("Vero", regtype::Binary, {2});
    expectSame(par.LeggiParametro("Vero", Boolean(false)), Boolean(true));
    put("Con", regtype::String, {'a', 'b', 'c', 0});
    EXPECT_EQ(par.LeggiParametroStringa("Con"), "abc");
    par.ScriviParametroStringa("Zero", QString::fromLatin1("a\0b", 3));
    EXPECT_EQ(stored("Zero").bytes, (Bytes{'a', 0, 'b'}));
    EXPECT_EQ(par.LeggiParametroStringa("Zero"), QString::fromLatin1("a\0b", 3));
    EXPECT_TRUE(platform.shown().empty());
}

TEST_F(TypedValues, MissingValuesStoreTheDefaultUnlessEmptyDebugOrSuppressed) {
    expectSame(par.LeggiParametro("Giri", Long(5)), Long(5));
    EXPECT_EQ(stored("Giri").bytes, (Bytes{5, 0, 0, 0}));
    expectSame(par.LeggiParametro("Giri", Long(9)), Long(5));
    for (const QVariant& zero : {Integer(0), Single(0.0f), String(""), Boolean(false)}) {
        expectSame(par.LeggiParametro("Zero", zero), zero);
        EXPECT_FALSE(stored("Zero").found) << zero.typeName();
    }
    EXPECT_EQ(par.LeggiParametroStringa("Nome", Null()), "");
    EXPECT_FALSE(stored("Nome").found);
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("Marmo")), "Marmo");
    EXPECT_EQ(par.LeggiParametroStringa("Nome", String("Vetro")), "Marmo");
    // The first read hands the Double back as given, the next as the suite reads Doubles.
    const double withSingleInLowBytes = std::bit_cast<double>(0x3FF0000040200000ull);
    expectSame(par.LeggiParametro("Spessore", Double(withSingleInLowBytes)), Double(withSingleInLowBytes));
    expectSame(par.LeggiParametro("Spessore", Double(1.0)), Single(2.5f));
    EXPECT_TRUE(platform.shown().empty());

    MainParametri::instance().setSkipDefaultWrite(true);
    expectSame(par.LeggiParametro("Passate", Integer(5)), Integer(0));
    EXPECT_EQ(par.LeggiParametroStringa("Colore", String("x")), "x");
    EXPECT_FALSE(stored("Passate").found || stored("Colore").found);
    EXPECT_TRUE(platform.shown().empty());

    MainParametri::instance().setSkipDefaultWrite(false);
    par.ModoDebug(true);
    expectSame(par.LeggiParametro("Lati", Double(2.5)), Single(0.0f));
    EXPECT_EQ(par.LeggiParametroStringa("Colore", String("x")), "");
    EXPECT_FALSE(stored("Lati").found || stored("Colore").found);
    EXPECT_EQ(platform.shown(),
              (test::TestPlatform::Shown{{"WARNING! Variable invalid : Lati\nin SOFTWARE\\Prog", 48},
                                         {"WARNING! Variable invalid :Colore\nin SOFTWARE\\Prog", 48}}));
    EXPECT_TRUE(platform.messages()[0].title.isNull());
}

TEST_F(TypedValues, MismatchesOtherTypesAndLongStringsAreRefused) {
    par.ScriviParametro("Piccolo", Integer(3));
    // Two bytes fit a Long's buffer, but they are not a Long: reported, left alone.
    EXPECT_EQ(par.LeggiParametro("Piccolo", Long(5)), QVariant());
    EXPECT_EQ(stored("Piccolo").bytes, (Bytes{3, 0}));
    // Four bytes do not fit an Integer's buffer: taken as missing, so overwritten.
    par.ScriviParametro("Grande", Long(70000));
    expectSame(par.LeggiParametro("Grande", Integer(4)), Integer(4));
    EXPECT_EQ(stored("Grande").bytes, (Bytes{4, 0}));
    par.ScriviParametro("Numero", Long(1));
    EXPECT_EQ(par.LeggiParametro("Numero", String("x")), QVariant());
    EXPECT_EQ(platform.shown().size(), 2u);
    EXPECT_EQ(platform.shown().front(), (std::pair<QString, int>("ERROR! Variable Piccolo\n type mismatch.", 48)));

    for (const QVariant& other : {Empty(), QVariant(QDate(2026, 11, 22)), QVariant::fromValue(5u)}) {
        EXPECT_EQ(par.LeggiParametro("Altro", other), QVariant());
        expectSame(par.ScriviParametro("Altro", other), Empty());
    }
    EXPECT_EQ(platform.shown().size(), 8u);
    EXPECT_EQ(platform.shown()[2],
              (std::pair<QString, int>{
                  "ERROR! Variable : Altro\nRegistry can handle only Integer, Long, Single and String.", 48}));
    EXPECT_EQ(platform.shown()[3],
              (std::pair<QString, int>{"ERROR! Registry can handle only Integer, Long, Single and String.", 48}));
    EXPECT_FALSE(stored("Altro").found);

    const QString longest(255, QChar(u'è'));
    par.ScriviParametroStringa("Lungo", longest);
    EXPECT_EQ(par.LeggiParametro("Lungo", String("x")), longest);
    par.ScriviParametro("Troppo", QString(256, u'x'));
    EXPECT_EQ(platform.shown().back(),
              (std::pair<QString, int>{"ERROR! String parameters maximum lenght is 255!", 48}));
    EXPECT_EQ(MainParametri::instance().selectedKeyHandle(), 0u);
    // The string write refuses it as a hard error and leaves the key open until
    // the next access.
    par.ScriviParametroStringa("Troppo", QString(256, u'x'));
    EXPECT_EQ(platform.shown().back().second, 16);
    EXPECT_EQ(platform.boxes().beeps, 2);
    EXPECT_NE(MainParametri::instance().selectedKeyHandle(), 0u);
    EXPECT_EQ(par.LeggiParametroStringa("Altro"), "");
    EXPECT_EQ(MainParametri::instance().selectedKeyHandle(), 0u);
    EXPECT_FALSE(stored("Troppo").found);
    // Written by another program, a longer string does not fit: it counts as missing.
    put("Esterno", regtype::String, Bytes(256, 'z'));
    EXPECT_EQ(par.LeggiParametroStringa("Esterno", String("corto")), "corto");
    EXPECT_EQ(stored("Esterno").bytes, (Bytes{'c', 'o', 'r', 't', 'o'}));
}

}  // namespace
}  // namespace paramcor

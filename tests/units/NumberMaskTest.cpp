// The fixed-width format of the example quotients, mask "12.3.4".
#include "units/NumberMask.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace paramcor {
namespace {

struct Formatted {
    double value;
    QChar decimal;
    const char* text;
};

TEST(NumberMask, RoundsToThreeDecimalsGroupsFromFiveDigitsAndRightAlignsInTwelve) {
    const Formatted cases[] = {
        {15, u'.', "          15"},          {5.5, u'.', "         5.5"},        {3.2, u',', "         3,2"},
        {1.0 / 3, u'.', "       0.333"},     {2.0 / 3, u',', "       0,667"},    {0.0005, u'.', "       0.001"},
        {0.0004, u'.', "           0"},      {-0.0004, u'.', "           0"},    {-2.5, u'.', "        -2.5"},
        {1440, u'.', "        1440"},        {12500, u'.', "      12,500"},      {3250000, u',', "   3.250.000"},
        {666666.6667, u',', " 666.666,667"}, {999999.999, u'.', " 999,999.999"}, {1e8, u'.', " 100,000,000"},
        {9999999.999, u'.', "************"}, {1e11, u'.', "************"},
    };
    for (const Formatted& c : cases)
        EXPECT_EQ(units::formatNumber(c.value, "12.3.4", c.decimal, c.decimal == u'.' ? u',' : u'.'),
                  QString::fromLatin1(c.text))
            << c.value;
}

TEST(NumberMask, OtherMasksAndMalformedOnes) {
    EXPECT_EQ(units::formatNumber(1234.5678, "8.2.3", u'.', u','), "1,234.57");
    EXPECT_EQ(units::formatNumber(2.5, "4.0.9", u'.', u','), "   3");
    EXPECT_EQ(units::formatNumber(123456, "5.0.9", u'.', u','), "*****");
    for (const char* mask : {"12.3", "12.x.4", "0.3.4", "", "12.3.4.5"})
        EXPECT_THROW(units::parseNumberMask(mask), std::invalid_argument) << mask;
}

}  // namespace
}  // namespace paramcor

// What each of the concurrent writer processes writes: 2 000 values of every
// interface type, half under its own program, half under a program all share.
#pragma once

#include <CVLParamcor/Parametri.h>

#include <cstring>

namespace paramcor::test {

constexpr int kValuesPerWriter = 2000;

struct PlannedValue {
    QString program;
    QString section;
    QString name;
    QVariant value;
};

// Two writers' values for the same i have one type and differ: the next writer's
// value is a default that a read finding the value never returns.
inline PlannedValue plannedValue(int writer, int i) {
    PlannedValue v;
    v.program = i % 2 == 0 ? QStringLiteral("Writer%1").arg(writer) : QStringLiteral("Shared");
    v.section = QStringLiteral("S%1").arg(i % 7);
    v.name = QStringLiteral("W%1_V%2").arg(writer).arg(i);
    const QVariant values[] = {
        Integer(static_cast<short>(writer * 1000 + i % 1000)),
        Long(writer * 100000 + i),
        Single(static_cast<float>(writer) + static_cast<float>(i) / 8.0f),
        Double(writer * 1e6 + i + 0.25),
        String(QStringLiteral("W%1 valore %2 è").arg(writer).arg(i)),
        Boolean((i / 6 + writer) % 2 == 1),
    };
    v.value = values[i % 6];
    return v;
}

// What a read returns for a written value: Doubles come back as Singles.
inline QVariant expectedRead(const QVariant& written) {
    if (written.metaType().id() != QMetaType::Double)
        return written;
    const double d = written.toDouble();
    float low;
    std::memcpy(&low, &d, sizeof low);
    return Single(low);
}

}  // namespace paramcor::test

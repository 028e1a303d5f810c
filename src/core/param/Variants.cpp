#include <CVLParamcor/Parametri.h>

namespace paramcor {

QVariant Integer(short value) {
    return QVariant::fromValue(value);
}
QVariant Long(int value) {
    return QVariant::fromValue(value);
}
QVariant Single(float value) {
    return QVariant::fromValue(value);
}
QVariant Double(double value) {
    return QVariant::fromValue(value);
}
QVariant String(const QString& value) {
    return QVariant::fromValue(value);
}
QVariant Boolean(bool value) {
    return QVariant::fromValue(value);
}
QVariant Empty() {
    return QVariant();
}
QVariant Null() {
    return QVariant::fromValue(nullptr);
}

}  // namespace paramcor

#include "app/qsettings_store.h"

#include <QMetaType>
#include <QSettings>
#include <QVariant>

#include <cmath>
#include <limits>
#include <optional>

namespace tarvelo {

namespace {

QString qtKey(const std::string& key) { return QString::fromStdString(key); }

std::optional<bool> parseBoolWord(const QString& text) {
  const QString word = text.trimmed().toLower();
  if (word == QLatin1String("true") || word == QLatin1String("yes")) return true;
  if (word == QLatin1String("false") || word == QLatin1String("no")) return false;
  return std::nullopt;
}

bool isNumber(const QVariant& value) {
  switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Float:
      return true;
    default:
      return false;
  }
}

bool isText(const QVariant& value) {
  return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

// Towards zero, as an integer read of a fractional value does; a value that
// does not fit (or is not a number at all) reads as 0.
std::int64_t truncateOrZero(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(value >= -kLimit && value < kLimit)) return 0;
  return static_cast<std::int64_t>(value);
}

std::int64_t integerOf(const QVariant& value) {
  switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
      return truncateOrZero(value.toDouble());
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort: {
      const qulonglong unsignedValue = value.toULongLong();
      if (unsignedValue > static_cast<qulonglong>(std::numeric_limits<std::int64_t>::max())) return 0;
      return static_cast<std::int64_t>(unsignedValue);
    }
    default:
      return value.toLongLong();
  }
}

std::optional<double> doubleOfText(const QString& text) {
  bool ok = false;
  const double parsed = text.trimmed().toDouble(&ok);
  if (!ok) return std::nullopt;
  return parsed;
}

}  // namespace

QSettingsStore::QSettingsStore() : settings_(std::make_unique<QSettings>()) {}

QSettingsStore::QSettingsStore(const QString& filePath)
    : settings_(std::make_unique<QSettings>(filePath, QSettings::IniFormat)) {}

QSettingsStore::~QSettingsStore() = default;

bool QSettingsStore::contains(const std::string& key) const { return settings_->contains(qtKey(key)); }

bool QSettingsStore::readBool(const std::string& key) const {
  const QVariant value = settings_->value(qtKey(key));
  if (value.typeId() == QMetaType::Bool) return value.toBool();
  if (isNumber(value)) {
    const double number = value.toDouble();
    return number != 0.0 && !std::isnan(number);
  }
  if (isText(value)) {
    const QString text = value.toString();
    if (const std::optional<bool> word = parseBoolWord(text)) return *word;
    const std::optional<double> number = doubleOfText(text);
    return number && *number != 0.0 && !std::isnan(*number);
  }
  return false;
}

std::int64_t QSettingsStore::readInt(const std::string& key) const {
  const QVariant value = settings_->value(qtKey(key));
  if (value.typeId() == QMetaType::Bool) return value.toBool() ? 1 : 0;
  if (isNumber(value)) return integerOf(value);
  if (isText(value)) {
    const QString text = value.toString().trimmed();
    if (const std::optional<bool> word = parseBoolWord(text)) return *word ? 1 : 0;
    bool ok = false;
    const qlonglong whole = text.toLongLong(&ok);
    if (ok) return whole;
    if (const std::optional<double> number = doubleOfText(text)) return truncateOrZero(*number);
  }
  return 0;
}

double QSettingsStore::readDouble(const std::string& key) const {
  const QVariant value = settings_->value(qtKey(key));
  if (value.typeId() == QMetaType::Bool) return value.toBool() ? 1.0 : 0.0;
  if (isNumber(value)) return value.toDouble();
  if (isText(value)) {
    const QString text = value.toString();
    if (const std::optional<bool> word = parseBoolWord(text)) return *word ? 1.0 : 0.0;
    return doubleOfText(text).value_or(0.0);
  }
  return 0.0;
}

void QSettingsStore::writeBool(const std::string& key, bool value) { settings_->setValue(qtKey(key), value); }

void QSettingsStore::writeInt(const std::string& key, std::int64_t value) {
  settings_->setValue(qtKey(key), QVariant::fromValue<qlonglong>(value));
}

void QSettingsStore::writeDouble(const std::string& key, double value) { settings_->setValue(qtKey(key), value); }

void QSettingsStore::sync() { settings_->sync(); }

}  // namespace tarvelo

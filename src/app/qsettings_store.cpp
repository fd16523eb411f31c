#include "app/qsettings_store.h"

#include <QFile>
#include <QFileInfo>
#include <QMetaType>
#include <QSettings>
#include <QVariant>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <iostream>
#include <limits>
#include <optional>
#include <string>

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

constexpr char kCannotSaveLogLine[] = "[Tarvelo] Settings cannot be saved: ";

// Why nothing can be saved at `path`, in the system's own words ("Permission
// denied", "Is a directory"), or nothing when the file looks writable. Saving
// needs a file that takes writing and, beside it, a folder that takes new
// entries: QSettings writes a new file and renames it over the old one, and
// keeps a lock file next to it.
std::optional<std::string> reasonFileCannotBeSaved(const QString& path) {
  const QFileInfo file(path);
  if (file.isDir()) return std::strerror(EISDIR);
  if (file.exists()) {
    // Opened for writing and closed again: nothing is truncated or changed,
    // and a FIFO without a reader does not hold us up.
    const int descriptor = ::open(QFile::encodeName(file.absoluteFilePath()).constData(),
                                  O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return std::strerror(errno);
    ::close(descriptor);
  }
  // A folder that does not exist yet is made: the nearest one that does must take it.
  QString folder = file.absolutePath();
  while (!QFileInfo::exists(folder)) {
    const QString parent = QFileInfo(folder).absolutePath();
    if (parent == folder) break;
    folder = parent;
  }
  if (!QFileInfo(folder).isDir()) return std::strerror(ENOTDIR);
  // As the process acts, which need not be as it was started.
  if (::faccessat(AT_FDCWD, QFile::encodeName(folder).constData(), W_OK | X_OK, AT_EACCESS) != 0) {
    return std::strerror(errno);
  }
  return std::nullopt;
}

}  // namespace

QSettingsStore::QSettingsStore() : settings_(std::make_unique<QSettings>()) {}

QSettingsStore::QSettingsStore(const QString& filePath)
    : settings_(std::make_unique<QSettings>(filePath, QSettings::IniFormat)) {}

// QSettings would write what is pending now anyway; the last changes of a run get their check too.
QSettingsStore::~QSettingsStore() { syncAndReportFailure(); }

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

void QSettingsStore::writeBool(const std::string& key, bool value) {
  settings_->setValue(qtKey(key), value);
  checkAfterWrites();
}

void QSettingsStore::writeInt(const std::string& key, std::int64_t value) {
  settings_->setValue(qtKey(key), QVariant::fromValue<qlonglong>(value));
  checkAfterWrites();
}

void QSettingsStore::writeDouble(const std::string& key, double value) {
  settings_->setValue(qtKey(key), value);
  checkAfterWrites();
}

void QSettingsStore::sync() { syncAndReportFailure(); }

// QSettings itself writes the file when the event loop is next idle; the
// check is queued behind that, one for all the writes in between. Once the
// failure has been told, QSettings goes on trying by itself, unwatched.
void QSettingsStore::checkAfterWrites() {
  if (reportedSaveFailure_ || checkPending_) return;
  checkPending_ = true;
  QMetaObject::invokeMethod(
      settings_.get(),
      [this] {
        checkPending_ = false;
        syncAndReportFailure();
      },
      Qt::QueuedConnection);
}

// A write that fails leaves QSettings with an access error. A format error
// is about reading the file, but it is the first error and so the only one
// QSettings keeps: behind it, the file's own state tells whether saving fails.
void QSettingsStore::syncAndReportFailure() {
  settings_->sync();
  if (reportedSaveFailure_) return;
  const QSettings::Status status = settings_->status();
  if (status == QSettings::NoError) return;
  std::optional<std::string> reason = reasonFileCannotBeSaved(settings_->fileName());
  if (!reason) {
    if (status != QSettings::AccessError) return;
    reason = "Write failed";
  }
  reportedSaveFailure_ = true;
  std::cout << kCannotSaveLogLine << settings_->fileName().toStdString() << ": " << *reason << std::endl;
}

}  // namespace tarvelo

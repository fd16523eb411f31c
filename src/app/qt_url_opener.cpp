#include "app/qt_url_opener.h"

#include <QDesktopServices>
#include <QString>
#include <QUrl>

namespace tarvelo {

void QtUrlOpener::open(const std::string& url) {
  QDesktopServices::openUrl(QUrl(QString::fromStdString(url)));
}

}  // namespace tarvelo

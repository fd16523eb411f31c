#include <gtest/gtest.h>

#include <QDesktopServices>
#include <QObject>
#include <QUrl>

#include <vector>

#include "app/qt_url_opener.h"

namespace tarvelo::testing {
namespace {

// Stands in for the desktop's handler of one URL scheme.
class UrlSchemeHandler : public QObject {
  Q_OBJECT

 public:
  std::vector<QUrl> opened;

 public slots:
  void open(const QUrl& url) { opened.push_back(url); }
};

TEST(QtUrlOpenerTest, HandsTheUrlToTheDesktopHandlerOfItsScheme) {
  UrlSchemeHandler handler;
  QDesktopServices::setUrlHandler(QStringLiteral("tarvelo-test"), &handler, "open");
  QtUrlOpener opener;
  opener.open("tarvelo-test://settings/privacy?pane=screen#capture");
  QDesktopServices::unsetUrlHandler(QStringLiteral("tarvelo-test"));

  ASSERT_EQ(handler.opened.size(), 1U);
  EXPECT_EQ(handler.opened.front().toString().toStdString(), "tarvelo-test://settings/privacy?pane=screen#capture");
}

}  // namespace
}  // namespace tarvelo::testing

#include "qt_url_opener_test.moc"

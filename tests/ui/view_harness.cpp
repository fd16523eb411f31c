#include "ui/view_harness.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QPainter>
#include <QQmlComponent>
#include <QQuickItemGrabResult>
#include <QSharedPointer>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQmlExpression>
#include <QTest>
#include <cstdlib>
#include <stdexcept>

#include "ui/ui_resources.h"

namespace tarvelo::testing {

ViewHarness::~ViewHarness() {
  textRoot_.reset();
  view_.reset();
}

QQuickItem& ViewHarness::root() { return textRoot_ ? *textRoot_ : *view_->rootObject(); }

namespace {

// What the views' sources are compiled into; text loaded from here finds them.
constexpr int kAnimationMilliseconds = 300;

const QUrl kTextUnderTest(QStringLiteral("qrc:/tarvelo/ui/TextUnderTest.qml"));

}  // namespace

void ViewHarness::makeView() {
  textRoot_.reset();
  view_.reset();
  engine_ = std::make_unique<ui::ViewEngine>();
  view_ = std::make_unique<QQuickView>(engine_.get(), nullptr);
}

bool ViewHarness::loadText(const QByteArray& qml) {
  makeView();
  view_->setColor(Qt::white);
  view_->setResizeMode(QQuickView::SizeViewToRootObject);
  QQmlComponent component(view_->engine());
  component.setData(qml, kTextUnderTest);
  textRoot_.reset(qobject_cast<QQuickItem*>(component.create()));
  if (!textRoot_) {
    ADD_FAILURE() << "the QML did not load: " << component.errorString().toStdString();
    return false;
  }
  textRoot_->setParentItem(view_->contentItem());
  view_->resize(static_cast<int>(textRoot_->width()), static_cast<int>(textRoot_->height()));
  return show();
}

bool ViewHarness::load(const QUrl& url, const QVariantMap& properties) {
  makeView();
  // With an alpha channel, as the windows have where a compositor runs.
  QSurfaceFormat format = view_->format();
  format.setAlphaBufferSize(8);
  view_->setFormat(format);
  view_->setColor(Qt::transparent);
  QVariantMap initial = properties;
  initial.insert(QStringLiteral("appState"), QVariant::fromValue<QObject*>(appState.get()));
  view_->setInitialProperties(initial);
  view_->setResizeMode(QQuickView::SizeViewToRootObject);
  view_->setSource(url);
  if (view_->status() != QQuickView::Ready || view_->rootObject() == nullptr) {
    QString reasons;
    for (const QQmlError& error : view_->errors()) reasons += QLatin1Char('\n') + error.toString();
    ADD_FAILURE() << "the view did not load:" << reasons.toStdString();
    return false;
  }
  return show();
}

bool ViewHarness::show() {
  view_->show();
  if (!QTest::qWaitForWindowExposed(view_.get())) {
    ADD_FAILURE() << "the view's window was never exposed";
    return false;
  }
  settle();
  return true;
}

QQuickItem& ViewHarness::item(const char* objectName) { return itemIn(root(), objectName); }

namespace {

// Items a Repeater makes are children of their parent item only.
QQuickItem* findItem(QQuickItem& scope, const QString& objectName) {
  if (scope.objectName() == objectName) return &scope;
  if (auto* found = scope.findChild<QQuickItem*>(objectName)) return found;
  for (QQuickItem* child : scope.childItems()) {
    if (QQuickItem* found = findItem(*child, objectName)) return found;
  }
  return nullptr;
}

}  // namespace

QQuickItem& ViewHarness::itemIn(QQuickItem& scope, const char* objectName) {
  QQuickItem* found = findItem(scope, QString::fromLatin1(objectName));
  if (found == nullptr) throw std::runtime_error(std::string("the view has no item ") + objectName);
  return *found;
}

QPoint ViewHarness::centreOf(QQuickItem& target) {
  return target.mapToScene(QPointF(target.width() / 2.0, target.height() / 2.0)).toPoint();
}

void ViewHarness::click(QQuickItem& target) {
  QTest::mouseClick(view_.get(), Qt::LeftButton, Qt::NoModifier, centreOf(target));
  settle();
}

// Qt drops a move to where the pointer already is: come from the corner.
void ViewHarness::hover(QQuickItem& target) {
  QTest::mouseMove(view_.get(), QPoint(1, 1));
  QTest::mouseMove(view_.get(), centreOf(target));
  settle();
}

// A grab polishes the layouts and draws; a layout that changes the root's size
// resizes the window, which takes another round.
QVariant ViewHarness::evaluate(QQuickItem& scope, const QString& expression) {
  QQmlExpression evaluation(qmlContext(&scope), &scope, expression);
  QVariant value = evaluation.evaluate();
  if (evaluation.hasError()) throw std::runtime_error(evaluation.error().toString().toStdString());
  return value;
}

void ViewHarness::useWaylandWording() {
  evaluate(root(), QStringLiteral("PlatformWording.isWaylandSession = true"));
  settle();
}

void ViewHarness::settle() {
  for (int round = 0; round < 3; ++round) {
    QCoreApplication::processEvents();
    (void)view_->grabWindow();
  }
  QCoreApplication::processEvents();
}

// Switches slide for a moment after they flip: a picture waits that out.
QImage ViewHarness::grab() {
  QTest::qWait(kAnimationMilliseconds);
  settle();
  EXPECT_EQ(view_->size(), root().size().toSize()) << "the window does not follow the view's size";
  return view_->grabWindow().convertToFormat(QImage::Format_ARGB32);
}

// A window is read back from its backing store, which has no alpha on the
// offscreen platform; the view's own picture has.
QImage ViewHarness::grabWithAlpha() {
  QTest::qWait(kAnimationMilliseconds);
  settle();
  QSharedPointer<QQuickItemGrabResult> result = root().grabToImage();
  if (!result || !QTest::qWaitFor([&] { return !result->image().isNull(); })) {
    ADD_FAILURE() << "the view could not be drawn into an image";
    return {};
  }
  return result->image().convertToFormat(QImage::Format_ARGB32);
}

std::string ViewHarness::save(const QImage& image, const std::string& name) {
  QDir().mkpath(QStringLiteral(TARVELO_SCREENSHOT_DIR));
  const QString path = QStringLiteral(TARVELO_SCREENSHOT_DIR "/%1.png").arg(QString::fromStdString(name));
  EXPECT_TRUE(image.save(path)) << path.toStdString();
  return path.toStdString();
}

QColor colourAt(const QImage& image, QPoint point, const QColor& background) {
  const QColor pixel = image.pixelColor(point);
  const double alpha = pixel.alphaF();
  const auto blend = [alpha](double over, double under) { return over * alpha + under * (1.0 - alpha); };
  return QColor::fromRgbF(static_cast<float>(blend(pixel.redF(), background.redF())),
                          static_cast<float>(blend(pixel.greenF(), background.greenF())),
                          static_cast<float>(blend(pixel.blueF(), background.blueF())));
}

bool near(const QColor& actual, const QColor& expected, int tolerance) {
  return std::abs(actual.red() - expected.red()) <= tolerance &&
         std::abs(actual.green() - expected.green()) <= tolerance &&
         std::abs(actual.blue() - expected.blue()) <= tolerance;
}

}  // namespace tarvelo::testing

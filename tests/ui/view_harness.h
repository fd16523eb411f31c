#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QPoint>
#include <QQuickItem>
#include <QQuickView>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <QVariantMap>
#include <memory>
#include <string>

#include "app/app_test_support.h"
#include "ui/view_engine.h"

namespace tarvelo::testing {

// One view loaded on an AppState made from the fakes, in a window of its own.
class ViewHarness : public AppStateHarness {
 public:
  ~ViewHarness();

  // Loads the QML file at `url` with the state as "appState" and the other
  // `properties`, sized to its root item, shown and drawn. Fails the test
  // (returns false) when the view does not load.
  bool load(const QUrl& url, const QVariantMap& properties = {});

  // Loads QML text that sits among the views, so it can use their controls,
  // Theme and PlatformWording by name.
  bool loadText(const QByteArray& qml);

  QQuickView& view() { return *view_; }
  QQuickItem& root();
  // The item named `objectName` anywhere in the view; throws when there is none.
  QQuickItem& item(const char* objectName);
  QQuickItem& itemIn(QQuickItem& scope, const char* objectName);

  // Where `item`'s centre is in the window.
  QPoint centreOf(QQuickItem& item);
  void click(QQuickItem& item);
  void hover(QQuickItem& item);

  // What the window shows now, with its alpha.
  QImage grab();
  // The same, where the window is translucent, with the alpha it has.
  QImage grabWithAlpha();
  // Saves `image` as <name>.png among the test's screenshots; returns the path.
  std::string save(const QImage& image, const std::string& name);
  // Lets the bindings a change set off settle and the window redraw.
  void settle();
  // The value of a QML expression in `scope`'s context, with `scope` as its
  // object (so `ToolTip.visible` is its attached tooltip's); throws on an error.
  QVariant evaluate(QQuickItem& scope, const QString& expression);
  // Words the loaded view as on a Wayland session.
  void useWaylandWording();

 private:
  bool show();

  // A fresh engine for each view, so that no test sees another's Theme.
  void makeView();

  std::unique_ptr<ui::ViewEngine> engine_;
  std::unique_ptr<QQuickView> view_;
  std::unique_ptr<QQuickItem> textRoot_;
};

// The colour of `image` at `point`, as drawn over `background` where the
// image is translucent.
QColor colourAt(const QImage& image, QPoint point, const QColor& background = Qt::white);

// Whether `actual` lies within `tolerance` of `expected` on each channel.
bool near(const QColor& actual, const QColor& expected, int tolerance = 6);

}  // namespace tarvelo::testing

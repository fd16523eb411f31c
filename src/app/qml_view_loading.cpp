#include "app/qml_view_loading.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <iostream>

namespace tarvelo {

QQuickItem* loadViewInto(QQuickWindow& window, QQmlEngine& engine, const QUrl& url, const QVariantMap& properties,
                         const char* what) {
  QQmlComponent component(&engine, url, QQmlComponent::PreferSynchronous);
  QObject* created = component.isReady() ? component.createWithInitialProperties(properties) : nullptr;
  auto* item = qobject_cast<QQuickItem*>(created);
  if (item == nullptr) {
    delete created;
    QString reasons;
    for (const QQmlError& error : component.errors()) reasons += QStringLiteral(" ") + error.toString();
    if (reasons.isEmpty()) reasons = QStringLiteral(" its root is not an Item");
    std::cerr << "tarvelo: the " << what << " did not load:" << reasons.simplified().prepend(' ').toStdString()
              << std::endl;
    return nullptr;
  }
  item->setParent(window.contentItem());
  item->setParentItem(window.contentItem());
  return item;
}

}  // namespace tarvelo

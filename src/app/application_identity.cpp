#include "app/application_identity.h"

#include <QCoreApplication>
#include <QString>

namespace tarvelo {

void applyApplicationIdentity() {
  QCoreApplication::setOrganizationName(QStringLiteral("Tarvelo"));
  QCoreApplication::setOrganizationDomain(QStringLiteral("tarvelo.com"));
  QCoreApplication::setApplicationName(QStringLiteral("Tarvelo"));
  QCoreApplication::setApplicationVersion(QString::fromLatin1(kApplicationVersion.data(),
                                                              static_cast<qsizetype>(kApplicationVersion.size())));
}

}  // namespace tarvelo

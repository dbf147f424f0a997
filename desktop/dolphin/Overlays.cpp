#include "desktop/dolphin/Overlays.h"

#include <QFile>
#include <QUrl>

#include "desktop/dolphin/Items.h"

using zelto::desktop::Items;

namespace {

QStringList names(const std::vector<std::string>& icons) {
  QStringList all;
  for (const std::string& icon : icons) all.append(QString::fromStdString(icon));
  return all;
}

}  // namespace

ZeltoOverlays::ZeltoOverlays() {
  Items::instance().setListener([this](const std::string& path, const std::vector<std::string>& icons) {
    const QString file = QFile::decodeName(QByteArray::fromStdString(path));
    Q_EMIT overlaysChanged(QUrl::fromLocalFile(file), names(icons));
  });
}

ZeltoOverlays::~ZeltoOverlays() { Items::instance().setListener(nullptr); }

QStringList ZeltoOverlays::getOverlays(const QUrl& url) {
  if (!url.isLocalFile()) return {};
  return names(Items::instance().overlays(QFile::encodeName(url.toLocalFile()).toStdString()));
}

#include "desktop/dolphin/Actions.h"

#include <KFileItem>
#include <KFileItemListProperties>
#include <KPluginFactory>
#include <QAction>
#include <QFile>
#include <QMenu>

#include "desktop/dolphin/Items.h"

using zelto::desktop::Action;
using zelto::desktop::Items;

K_PLUGIN_CLASS_WITH_JSON(ZeltoActions, "actions.json")

namespace {

// Empty when one of the items is not of this machine.
std::vector<std::string> pathsOf(const KFileItemListProperties& selected) {
  std::vector<std::string> paths;
  for (const KFileItem& item : selected.items()) {
    if (item.localPath().isEmpty()) return {};
    paths.push_back(QFile::encodeName(item.localPath()).toStdString());
  }
  return paths;
}

}  // namespace

ZeltoActions::ZeltoActions(QObject* parent, const QVariantList&) : KAbstractFileItemActionPlugin(parent) {}

QList<QAction*> ZeltoActions::actions(const KFileItemListProperties& selected, QWidget* window) {
  const std::vector<std::string> paths = pathsOf(selected);
  const auto offered = Items::instance().offered(paths);
  if (!offered || offered->empty()) return {};
  auto* const menu = new QMenu(QStringLiteral("Zelto"), window);
  for (const Action& action : *offered) {
    QAction* const entry = menu->addAction(QString::fromStdString(action.title));
    connect(entry, &QAction::triggered, this, [action, paths] { Items::instance().perform(action, paths); });
  }
  return {menu->menuAction()};
}

// What Qt makes of the macro above.
#include <Actions.moc>

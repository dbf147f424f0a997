#pragma once

#include <KAbstractFileItemActionPlugin>
#include <QVariant>

// The entries of Dolphin's context menu. THREAD: the main one.
class ZeltoActions : public KAbstractFileItemActionPlugin {
  Q_OBJECT

 public:
  ZeltoActions(QObject* parent, const QVariantList&);

  QList<QAction*> actions(const KFileItemListProperties& selected, QWidget* window) override;
};

#pragma once

#include <KOverlayIconPlugin>

// Dolphin's icons with badges. THREAD: the main one.
class ZeltoOverlays : public KOverlayIconPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID "it.pellam.Zelto.Overlays" FILE "overlays.json")

 public:
  ZeltoOverlays();
  ~ZeltoOverlays() override;

  QStringList getOverlays(const QUrl& url) override;
};

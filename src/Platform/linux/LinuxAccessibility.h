// Accessibility switches on Linux.
#pragma once

#include "Platform/Accessibility.h"

namespace rqb {

// Reports every switch off: Linux has no system-wide answer, each desktop
// keeps these settings in a store and format of its own, and a switch the
// system cannot report is off.
class LinuxAccessibility final : public Accessibility {
 public:
  bool IsClosedCaptioningEnabled() const override { return false; }
  bool IsGuidedAccessEnabled() const override { return false; }
  bool IsInvertColorsEnabled() const override { return false; }
  bool IsMonoAudioEnabled() const override { return false; }
  bool IsVoiceOverRunning() const override { return false; }
};

}  // namespace rqb

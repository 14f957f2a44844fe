// The user's accessibility switches.
#pragma once

namespace rqb {

// Each query answers whether the switch is on now. Called from any thread,
// concurrently; never throws. A switch the system cannot report is off.
class Accessibility {
 public:
  Accessibility() = default;
  Accessibility(const Accessibility&) = delete;
  Accessibility& operator=(const Accessibility&) = delete;
  virtual ~Accessibility() = default;

  virtual bool IsClosedCaptioningEnabled() const = 0;
  virtual bool IsGuidedAccessEnabled() const = 0;
  virtual bool IsInvertColorsEnabled() const = 0;
  virtual bool IsMonoAudioEnabled() const = 0;
  virtual bool IsVoiceOverRunning() const = 0;
};

}  // namespace rqb

// The accessibility switches, one UIKit status function each.
#import <UIKit/UIKit.h>

#include "Platform/Accessibility.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleAccessibility final : public Accessibility {
 public:
  bool IsClosedCaptioningEnabled() const override {
    return UIAccessibilityIsClosedCaptioningEnabled();
  }
  bool IsGuidedAccessEnabled() const override { return UIAccessibilityIsGuidedAccessEnabled(); }
  bool IsInvertColorsEnabled() const override { return UIAccessibilityIsInvertColorsEnabled(); }
  bool IsMonoAudioEnabled() const override { return UIAccessibilityIsMonoAudioEnabled(); }
  bool IsVoiceOverRunning() const override { return UIAccessibilityIsVoiceOverRunning(); }
};

}  // namespace

Accessibility* NewAccessibility() { return new AppleAccessibility(); }

}  // namespace rqb::apple

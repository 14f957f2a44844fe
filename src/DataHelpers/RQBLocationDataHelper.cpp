#include "DataHelpers/RQBLocationDataHelper.h"

#include <memory>

#include "Constants/RQBConstantTexts.h"
#include "Platform/DeviceCalendar.h"
#include "Platform/ForkGate.h"
#include "Platform/Platform.h"
#include "Utils/Geolocation/RQBGeolocation.h"
#include "Utils/Text/NumberText.h"

rqb::SharedGlobal<rqb::DateFormatter>& dtFormatter() {
  return rqb::MakeOnce([] { return new rqb::SharedGlobal<rqb::DateFormatter>(); });
}

RQBLocationDataHelper::RQBLocationDataHelper() {
  dtFormatter().Replace(
      rqb::CurrentPlatform().calendar->CreateDateFormatter(rqb::kTimestampPattern));
}

std::optional<std::string> RQBLocationDataHelper::getKey() { return rqb::text::RQBVARLocation; }

std::optional<std::string> RQBLocationDataHelper::getValue() {
  const std::optional<rqb::Location> location = RQBGeolocation().getLastLocation();
  if (!location) return "{}";

  using rqb::DoubleDescription;
  std::string text = "{ \"lat\": " + DoubleDescription(location->latitude) +
                     ", \"lot\": " + DoubleDescription(location->longitude) +
                     ", \"alt\": " + DoubleDescription(location->altitude) +
                     ", \"ts\": " + dtFormatter().Load()->StringFromDate(location->timestamp) +
                     ", \"hac\": " + DoubleDescription(location->horizontal_accuracy) +
                     ", \"vac\": " + DoubleDescription(location->vertical_accuracy) +
                     ", \"c\": " + DoubleDescription(location->course) +
                     ", \"s\": " + DoubleDescription(location->speed);
  if (location->floor_level) {
    text += ", \"fl\": " + std::to_string(*location->floor_level) + " }";
  } else {
    text += " }";
  }
  // A fix heading due north is reported as no location at all; -0.0 compares
  // equal too, while a missing course (negative) or NaN lets the text through.
  if (location->course == 0.0) return "{}";
  return text;
}

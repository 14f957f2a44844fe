"""The campaign's reading of a profile must refuse what a service could not
use, or a fault that damages a value would pass unseen."""
import json
import unittest

from profile_check import body_problems, request_problems

SESSION = "9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B"
UUID = "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9"
BATTERY = '{ "s": "c", "l": 85.000000 }'
LOCATION = ('{ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, '
            '"hac": 65, "vac": 10, "c": -1, "s": -1, "fl": 2 }')


def variables(**changes):
    values = {
        "Platform": "iOS", "SDKVersion": "3.0.2", "SystemVersion": "12",
        "SystemName": "Debian GNU/Linux", "DeviceModel": "x86_64", "DeviceName": "vm",
        "LanguageCode": "en", "SSID": "", "LocaleEqualsLanguage": "true",
        "ClosedCaptioningEnabled": "false", "InvertColorsEnabled": "false",
        "MonoAudioEnabled": "false", "VoiceOverRunning": "false", "PaymentsAllowed": "false",
        "ConnectedViaWifi": "true", "ConnectedVia3G": "false", "GuidedAccessEnabled": "unknown",
        "FreeDiskSpace": "52234567680", "InstalledKeyboards": '["us","de(nodeadkeys)"]',
        "Battery": BATTERY, "BatteryInfo": BATTERY, "DeviceGeneratedId": UUID,
        "VisitorIdentifierForVendor": "", "AdvertisingId": "", "Location": LOCATION,
        "Carrier": '["Alpha","Beta"]', "CarrierAllowsVoip": '{ "Alpha": false, "Beta": true }',
    }
    values.update(changes)
    return {key: value for key, value in values.items() if value is not None}


def body(variables_, session=SESSION, app="fault-host"):
    # Pretty-printed, with "/" escaped, as the library writes it.
    text = json.dumps({"Variables": variables_, "SessionID": session, "App": app}, indent=2,
                      separators=(",", " : "), ensure_ascii=False)
    return text.replace("/", "\\/")


class ProfileCheckTest(unittest.TestCase):
    def test_a_profile_with_every_kind_of_value_passes(self):
        self.assertEqual(body_problems(body(variables()), SESSION, "fault-host"), [])
        defaults = variables(Location="{}", Carrier="", CarrierAllowsVoip="{}",
                             InstalledKeyboards="[]", GuidedAccessEnabled="false",
                             Battery='{ "s": "unknown", "l": -100.000000 }',
                             BatteryInfo='{ "s": "unknown", "l": -100.000000 }',
                             VisitorIdentifierForVendor=UUID, FreeDiskSpace="0")
        self.assertEqual(body_problems(body(defaults), SESSION, "fault-host"), [])

    def test_values_of_the_wrong_kind_are_named(self):
        damaged = {
            "DeviceGeneratedId": "", "FreeDiskSpace": "-1", "ConnectedViaWifi": "yes",
            "GuidedAccessEnabled": "", "Battery": '{ "s": "x", "l": 85.000000 }',
            "Location": '{ "lat": 1 }', "Carrier": "[Alpha]",
            "CarrierAllowsVoip": '{ "Alpha": "no" }', "InstalledKeyboards": "",
            "AdvertisingId": "0f6e5d4c-3b2a-4918-8765-43210fedcba9", "Platform": "Linux",
        }
        for key, value in damaged.items():
            with self.subTest(key=key):
                problems = body_problems(body(variables(**{key: value})), SESSION, "fault-host")
                self.assertTrue(any(problem.startswith(key) for problem in problems), problems)

    def test_a_damaged_envelope_is_refused(self):
        self.assertIn("Carrier is missing",
                      body_problems(body(variables(Carrier=None)), SESSION, "fault-host"))
        self.assertTrue(body_problems(body(variables(), session="other"), SESSION, "fault-host"))
        self.assertTrue(body_problems(body(variables(), app=""), SESSION, "fault-host"))
        self.assertTrue(body_problems(body(variables())[:-1], SESSION, "fault-host"))
        self.assertTrue(body_problems(body(variables(Battery=BATTERY.replace("85", "86"))),
                                      SESSION, "fault-host"))

    def test_the_request_must_carry_the_body_it_declares(self):
        text = body(variables())
        request = {"method": "POST", "path": "/api/profiler/variables", "body": text,
                   "headers": {"Content-Type": "application/json; charset=UTF-8",
                               "Content-Length": str(len(text.encode()))}}
        self.assertEqual(request_problems(request, SESSION, "fault-host"), [])
        request["headers"]["Content-Length"] = "12"
        self.assertTrue(request_problems(request, SESSION, "fault-host"))


if __name__ == "__main__":
    unittest.main()

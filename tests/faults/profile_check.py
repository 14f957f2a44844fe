"""Reads an uploaded device profile as the profiling service does: the
envelope first, then every value a second time, as the kind of text its key
carries. What it finds wrong is returned as short texts; none means the
service can use the profile."""
import json
import re

PROFILE_PATH = "/api/profiler/variables"

_UUID = r"[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"
_NUMBER = r"-?(?:\d+(?:\.\d+)?(?:e[+-]\d+)?|nan|inf)"
_LOCATION = re.compile(
    r'\{ "lat": N, "lot": N, "alt": N, "ts": \d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d{4}, '
    r'"hac": N, "vac": N, "c": N, "s": N(?:, "fl": -?\d+)? \}'.replace("N", _NUMBER))
_BATTERY = re.compile(r'\{ "s": "(?:u|c|f|unknown)", "l": -?\d+\.\d{6} \}')


def _fullmatch(pattern):
    compiled = re.compile(pattern) if isinstance(pattern, str) else pattern
    return lambda value: compiled.fullmatch(value) is not None


def _json_list_of_texts(value):
    try:
        parsed = json.loads(value)
    except ValueError:
        return False
    return isinstance(parsed, list) and all(isinstance(item, str) for item in parsed)


def _voip_record(value):
    # "{}", or { "name": true, "other": false } as the collector spaces it.
    if value == "{}":
        return True
    if not (value.startswith("{ ") and value.endswith(" }")):
        return False
    try:
        parsed = json.loads(value)
    except ValueError:
        return False
    return (isinstance(parsed, dict) and parsed
            and all(isinstance(allowed, bool) for allowed in parsed.values()))


def _any_text(value):
    return True


def _one_of(*texts):
    return lambda value: value in texts


_BOOLEAN = _one_of("true", "false")

# The kind of text each of the 27 keys carries.
KINDS = {
    "Platform": _one_of("iOS"),
    "SDKVersion": _any_text,
    "SystemVersion": _any_text,
    "SystemName": _any_text,
    "DeviceModel": _any_text,
    "DeviceName": _any_text,
    "LanguageCode": _any_text,
    "SSID": _any_text,
    "LocaleEqualsLanguage": _BOOLEAN,
    "ClosedCaptioningEnabled": _BOOLEAN,
    "InvertColorsEnabled": _BOOLEAN,
    "MonoAudioEnabled": _BOOLEAN,
    "VoiceOverRunning": _BOOLEAN,
    "PaymentsAllowed": _BOOLEAN,
    "ConnectedViaWifi": _BOOLEAN,
    "ConnectedVia3G": _BOOLEAN,
    "GuidedAccessEnabled": _one_of("true", "false", "unknown"),
    "FreeDiskSpace": _fullmatch(r"\d+"),
    "InstalledKeyboards": _json_list_of_texts,
    "Battery": _fullmatch(_BATTERY),
    "BatteryInfo": _fullmatch(_BATTERY),
    "DeviceGeneratedId": _fullmatch(_UUID),
    "VisitorIdentifierForVendor": _fullmatch(f"(?:{_UUID})?"),
    "AdvertisingId": _fullmatch(f"(?:{_UUID})?"),
    "Location": lambda value: value == "{}" or _LOCATION.fullmatch(value) is not None,
    "Carrier": lambda value: value == "" or _json_list_of_texts(value),
    "CarrierAllowsVoip": _voip_record,
}


def request_problems(request, session_id, app):
    """What is wrong with one received request (method, path, headers, body)
    for the run that used `session_id`."""
    if request.get("method") != "POST" or request.get("path") != PROFILE_PATH:
        return [f"unexpected request {request.get('method')} {request.get('path')}"]
    problems = []
    headers = {name.lower(): value for name, value in request.get("headers", {}).items()}
    body = request.get("body", "")
    if headers.get("content-length") != str(len(body.encode("utf-8"))):
        problems.append("Content-Length is not the body's length")
    if not headers.get("content-type", "").startswith("application/json"):
        problems.append("the body is not declared JSON")
    return problems + body_problems(body, session_id, app)


def body_problems(body, session_id, app):
    """What is wrong with one uploaded body, read as the service reads it."""
    try:
        envelope = json.loads(body)
    except ValueError as error:
        return [f"the body is not JSON: {error}"]
    if not isinstance(envelope, dict) or set(envelope) != {"Variables", "SessionID", "App"}:
        return ["the body is not an envelope of Variables, SessionID and App"]
    problems = []
    if envelope["SessionID"] != session_id:
        problems.append(f"SessionID is {envelope['SessionID']!r}, not {session_id!r}")
    if envelope["App"] != app:
        problems.append(f"App is {envelope['App']!r}, not {app!r}")
    variables = envelope["Variables"]
    if not isinstance(variables, dict):
        return problems + ["Variables is not an object"]
    for key, fits in KINDS.items():
        if key not in variables:
            problems.append(f"{key} is missing")
        elif not isinstance(variables[key], str):
            problems.append(f"{key} is not a string")
        elif not fits(variables[key]):
            problems.append(f"{key} is {variables[key]!r}")
    problems.extend(f"unexpected key {key}" for key in variables if key not in KINDS)
    if variables.get("Battery") != variables.get("BatteryInfo"):
        problems.append("Battery and BatteryInfo differ")
    return problems

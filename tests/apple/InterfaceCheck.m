// A host program that uses the whole interface of the framework: the class
// RQBehavior with its additions, every constant, and the C interface. The
// checks compile it with modules and ARC against each slice and link it; it
// is never run here. Run on a device or simulator, it would exit 0 when what
// it reads is what the interface promises.
@import RQBehavior;

static int failures = 0;

static void Expect(BOOL condition, NSString *what) {
  if (!condition) {
    NSLog(@"interface check: %@", what);
    ++failures;
  }
}

int main(void) {
  @autoreleasepool {
    RQBehavior *behavior = [RQBehavior getInstance:@"shop-app-01"];
    Expect([RQBehavior getInstance:nil] == behavior, @"getInstance: gives one instance");
    Expect(behavior.app == nil, @"getInstance: with nil clears app");
    behavior.app = @"shop-app-01";

    NSString *session = [behavior generateSessionId];
    Expect(session.length == 36, @"generateSessionId gives 36 characters");
    @try {
      [behavior collectDeviceInformation:@"12345"];
      Expect(NO, @"a five-character identifier is accepted");
    } @catch (NSException *exception) {
      Expect([exception.name isEqualToString:@"NoSessionID"], @"the exception's name");
      Expect([exception.reason isEqualToString:UNDEFINED_SESSION_ID_ERR_MESSAGE],
             @"the exception's reason");
    }
    Expect([behavior.sessionId isEqualToString:@"12345"], @"the refused identifier is kept");
    [behavior collectDeviceInformation:session];

    NSError *error = nil;
    Expect(![behavior collectDeviceInformation:nil error:&error], @"nil is refused");
    Expect([error.domain isEqualToString:RQ_BEHAVIOR_ERROR_DOMAIN] &&
               error.code == RQBErrorCodeNoSessionID,
           @"the refusal's error");
    Expect([behavior collectDeviceInformation:session error:NULL], @"a valid identifier runs");

    [behavior setRequestTimeout:@30];
    Expect([behavior.requestTimeout isEqual:@30], @"requestTimeout keeps the value");
    behavior.requestTimeout = nil;
    behavior.sessionId = nil;

    [RQBehavior setLogHandler:^(NSString *message) {
      NSLog(@"library: %@", message);
    }];
    [RQBehavior setLogHandler:nil];
    (void)[RQBehavior flushWithTimeout:15];

    NSArray<NSString *> *constants = @[
      RQBVARPlatform, RQBVARSDKVersion, RQBVARAdvertisingId, RQBVARLocation, RQBVARBatteryInfo,
      RQBVARBattery, RQBVARLanguageCode, RQBVARDeviceGeneratedId, RQBVARVisitorIdentifierForVendor,
      RQBVARDeviceModel, RQBVARSystemVersion, RQBVAROSVersion, RQBVARSystemName,
      RQBVARConnectedVia3G, RQBVARCarrier, RQBVARClosedCaptioningEnabled, RQBVARDeviceName,
      RQBVARFreeDiskSpace, RQBVARGuidedAccessEnabled, RQBVARInvertColorsEnabled, RQBVARJailBroken,
      RQBVARInstalledKeyboards, RQBVARLocaleEqualsLanguage, RQBVARMonoAudioEnabled,
      RQBVARPaymentsAllowed, RQBVARSSID, RQBVARVoiceOverRunning, RQBVARCarrierAllowsVoip,
      RQBVARConnectedViaWifi, RQ_BEHAVIOR_ERROR_DOMAIN, UNDEFINED_APP_ID_ERR_MESSAGE,
      UNDEFINED_SESSION_ID_ERR_MESSAGE, EXTERNAL_SETTINGS_NOT_FOUND, API_ERROR, DeviceGeneratedTag
    ];
    Expect(constants.count == 35, @"every constant is there");
    Expect([RQBVARPlatform isEqualToString:@"Platform"], @"RQBVARPlatform");
    Expect(RQBehaviorVersionNumber == 3.0, @"RQBehaviorVersionNumber");
    Expect(strcmp((const char *)RQBehaviorVersionString,
                  "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n") == 0,
           @"RQBehaviorVersionString");
    DeviceGeneratedTag = @"replaced by the host";

    // The C interface comes with the module too.
    char buffer[RQB_SESSION_ID_SIZE];
    Expect(rqb_generate_session_id(buffer, sizeof buffer) == RQB_OK, @"rqb_generate_session_id");
    rqb_error *c_error = NULL;
    Expect(rqb_collect_device_information("12345", &c_error) == RQB_EXCEPTION, @"C refusal");
    rqb_error_free(c_error);
  }
  return failures == 0 ? 0 : 1;
}

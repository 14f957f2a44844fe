// A minimal iOS app that uses RQBehavior as an Objective-C app takes it: the
// framework's module and the Objective-C class alone. At launch it names
// itself, asks for a session identifier and starts one collection run.
@import RQBehavior;
@import UIKit;

@interface RQBHostAppDelegate : UIResponder <UIApplicationDelegate>
@property(nonatomic, strong) UIWindow *window;
@end

@implementation RQBHostAppDelegate

- (BOOL)application:(UIApplication *)application
    didFinishLaunchingWithOptions:(NSDictionary<UIApplicationLaunchOptionsKey, id> *)launchOptions {
  self.window = [[UIWindow alloc] initWithFrame:UIScreen.mainScreen.bounds];
  self.window.rootViewController = [[UIViewController alloc] init];
  [self.window makeKeyAndVisible];

  RQBehavior *behavior = [RQBehavior getInstance:@"shop-app-01"];
  NSString *session = [behavior generateSessionId];
  @try {
    // Returns at once; the profile is collected and uploaded in the background.
    [behavior collectDeviceInformation:session];
    NSLog(@"RQBehavior collects session %@", session);
  } @catch (NSException *exception) {
    if (![exception.name isEqualToString:@"NoSessionID"]) @throw;
    NSLog(@"RQBehavior refused the session identifier: %@", exception.reason);
  }
  return YES;
}

@end

int main(int argc, char *argv[]) {
  @autoreleasepool {
    return UIApplicationMain(argc, argv, nil, NSStringFromClass([RQBHostAppDelegate class]));
  }
}

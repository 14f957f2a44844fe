// A minimal iOS app that uses RQBehavior as any host would: it names itself,
// asks for a session identifier and starts one collection run at launch.
#import <UIKit/UIKit.h>

#include <RQBehavior/RQBehavior.h>

#include <string>

@interface RQBHostAppDelegate : UIResponder <UIApplicationDelegate>
@property(nonatomic, strong) UIWindow* window;
@end

@implementation RQBHostAppDelegate

- (BOOL)application:(UIApplication*)application
    didFinishLaunchingWithOptions:(NSDictionary<UIApplicationLaunchOptionsKey, id>*)launchOptions {
  self.window = [[UIWindow alloc] initWithFrame:UIScreen.mainScreen.bounds];
  self.window.rootViewController = [[UIViewController alloc] init];
  [self.window makeKeyAndVisible];

  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  const std::string session = behavior.generateSessionId();
  try {
    // Returns at once; the profile is collected and uploaded in the background.
    behavior.collectDeviceInformation(session);
  } catch (const RQBException& exception) {
    NSLog(@"RQBehavior refused the session identifier: %s", exception.what());
  }
  NSLog(@"RQBehavior collects session %s", session.c_str());
  return YES;
}

@end

int main(int argc, char* argv[]) {
  @autoreleasepool {
    return UIApplicationMain(argc, argv, nil, NSStringFromClass([RQBHostAppDelegate class]));
  }
}

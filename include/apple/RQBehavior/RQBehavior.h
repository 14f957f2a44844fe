// RQBehavior for iOS apps: device profiling for fraud prevention.
//
// The app names itself once, then asks for a device profile per user
// session:
//
//   RQBehavior *rqb = [RQBehavior getInstance:@"shop-app-01"];
//   NSString *session = [rqb generateSessionId];
//   @try {
//     [rqb collectDeviceInformation:session];
//   } @catch (NSException *exception) {  // "NoSessionID"
//   }
//
// In Swift:
//
//   let rqb = RQBehavior.getInstance("shop-app-01")
//   rqb.collectDeviceInformation(rqb.generateSessionId())
//
// collectDeviceInformation: returns at once; the device attributes are read
// on a background queue and uploaded as one JSON document with one HTTPS
// POST. Nothing is reported back: a failed run and a failed transfer leave
// one line in the log (NSLog, or the handler given to +setLogHandler:).
//
// This header is the framework's umbrella: it also brings the constants
// (RQBConstants.h) and the C interface (rqbehavior_c.h).
#import <Foundation/Foundation.h>

#import <RQBehavior/RQBConstants.h>
#import <RQBehavior/RQBExport.h>
#import <RQBehavior/rqbehavior_c.h>

NS_ASSUME_NONNULL_BEGIN

// Codes of the errors in RQ_BEHAVIOR_ERROR_DOMAIN (RQBError in Swift).
typedef NS_ERROR_ENUM(RQ_BEHAVIOR_ERROR_DOMAIN, RQBErrorCode){
    // The session identifier was nil or shorter than 6 UTF-16 code units:
    // what raises "NoSessionID".
    RQBErrorCodeNoSessionID = 1,
};

// The one class a host app uses. Every instance, the shared one included,
// is a view of the library's single process-wide state, which the C
// interface and the C++ facade of other platforms share: a value set
// through one is read through the others. Properties are non-atomic: the
// settings are meant to be changed from one thread at a time.
//
// The library keeps the values, not the objects: a getter returns an object
// equal to what was set (requestTimeout as a double NSNumber). Texts travel
// as UTF-8 inside the library: a string holding a lone surrogate, which UTF-8
// cannot carry, counts as nil.
RQB_EXPORT
@interface RQBehavior : NSObject

// Returns the shared instance, creating it on the first call, and sets its
// app to `app` (nil included) on every call.
+ (RQBehavior *)getInstance:(nullable NSString *)app NS_SWIFT_NAME(getInstance(_:));

// Starts one collection run for `sessionId` in the background and returns.
// In this order: the manager takes the current app, sessionId keeps the
// argument, the manager validates it, and the run is scheduled. A
// `sessionId` that is nil or shorter than 6 UTF-16 code units raises an
// NSException named "NoSessionID" (reason UNDEFINED_SESSION_ID_ERR_MESSAGE)
// on the calling thread; no run is started then, and sessionId still reads
// the refused value.
- (void)collectDeviceInformation:(nullable NSString *)sessionId;

// A new random session identifier: an upper-case version-4 UUID text of 36
// characters. Neither stored nor used by the library.
- (NSString *)generateSessionId;

// Records the host's preferred request time-out, in seconds. Uploads keep
// their fixed 10-second time-outs whatever is set here.
- (void)setRequestTimeout:(nullable NSNumber *)requestTimeout;

// The application identifier that the next collectDeviceInformation: hands
// on. The setter stores only.
@property(nonatomic, strong, nullable) NSString *app;
// The last value given to setRequestTimeout:.
@property(nonatomic, strong, nullable) NSNumber *requestTimeout;
// The last identifier given to collectDeviceInformation:, accepted or not.
// The setter stores only: no validation, no collection.
@property(nonatomic, strong, nullable) NSString *sessionId;

// Additions for hosts that want them; a host that never calls them sees no
// difference.

// collectDeviceInformation: that reports a refused identifier as an NSError
// (RQ_BEHAVIOR_ERROR_DOMAIN, RQBErrorCodeNoSessionID, the reason as its
// localized description) instead of raising: the form Swift can catch
// (`try rqb.collectDeviceInformation(sessionId: id)`). Returns YES when a
// run was scheduled.
- (BOOL)collectDeviceInformation:(nullable NSString *)sessionId
                           error:(NSError *_Nullable *_Nullable)error
    NS_SWIFT_NAME(collectDeviceInformation(sessionId:));

// Waits up to `timeout` seconds until every collection run and upload
// started before the call has finished, the upload's outcome included, and
// returns YES; NO once the time has passed first. Never waits for later
// runs. Optional: for a host that wants its profiles sent before it stops.
// Not for the main thread, which it would block.
+ (BOOL)flushWithTimeout:(NSTimeInterval)timeout NS_SWIFT_NAME(flush(timeout:));

// Hands each later message of the library's log to `handler` instead of
// NSLog; nil restores NSLog. The handler runs on whichever library thread
// logs, possibly on several at once, so it must be thread-safe and should
// return promptly. Once this call returns, the handler it replaced is not
// running and is never called again.
+ (void)setLogHandler:(nullable void (^)(NSString *message))handler;

@end

NS_ASSUME_NONNULL_END

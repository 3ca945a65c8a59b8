#include "Companion/macos/UserNotificationCentre.h"

#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

namespace Companion {

namespace {

NSString* toNSString(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

} // namespace

bool UserNotificationCentre::isAvailable() {
    NSBundle* bundle = [NSBundle mainBundle];
    return bundle.bundleIdentifier != nil && [bundle.bundleURL.pathExtension isEqualToString:@"app"];
}

void UserNotificationCentre::requestPermission(std::function<void(bool granted)> done) {
    const std::function<void(bool)> callback = std::move(done);
    [[UNUserNotificationCenter currentNotificationCenter]
        requestAuthorizationWithOptions:(UNAuthorizationOptionAlert | UNAuthorizationOptionSound)
                      completionHandler:^(BOOL granted, NSError* _Nullable error) {
                        (void)error; // a refusal is all that matters here
                        // Completions arrive on any thread; the notifier lives on the main one.
                        dispatch_async(dispatch_get_main_queue(), ^{
                          callback(granted == YES);
                        });
                      }];
}

void UserNotificationCentre::post(const std::string& title, const std::string& body,
                                  std::function<void(bool delivered)> done) {
    const std::function<void(bool)> callback = std::move(done);
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = toNSString(title);
    content.body = toNSString(body);
    content.sound = [UNNotificationSound defaultSound];
    UNNotificationRequest* request = [UNNotificationRequest requestWithIdentifier:[[NSUUID UUID] UUIDString]
                                                                          content:content
                                                                          trigger:nil];
    [[UNUserNotificationCenter currentNotificationCenter]
        addNotificationRequest:request
         withCompletionHandler:^(NSError* _Nullable error) {
           const bool delivered = error == nil;
           dispatch_async(dispatch_get_main_queue(), ^{
             callback(delivered);
           });
         }];
}

} // namespace Companion

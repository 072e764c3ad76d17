// Hand-written declarations for type checking only. Not an SDK header.
#pragma once
#import <Foundation/Foundation.h>
#pragma clang assume_nonnull begin
@class NSApplication, NSView, NSWindow, NSEvent, NSImage, NSLayoutAnchor<T>, NSLayoutXAxisAnchor,
    NSLayoutYAxisAnchor, NSLayoutDimension, NSLayoutConstraint, NSButton;
typedef NSInteger NSModalResponse NS_TYPED_EXTENSIBLE_ENUM;
static const NSModalResponse NSModalResponseOK = 1;
static const NSModalResponse NSModalResponseCancel = 0;
static const NSModalResponse NSAlertFirstButtonReturn = 1000;
static const NSModalResponse NSAlertSecondButtonReturn = 1001;
typedef NSString* NSUserInterfaceItemIdentifier NS_TYPED_EXTENSIBLE_ENUM;
@interface NSResponder : NSObject <NSCoding>
- (instancetype)init NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
@end
@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender;
@end
typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy) {
  NSApplicationActivationPolicyRegular,
  NSApplicationActivationPolicyAccessory,
  NSApplicationActivationPolicyProhibited
};
@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
- (void)run;
- (void)terminate:(nullable id)sender;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
- (void)activateIgnoringOtherApps:(BOOL)ignoreOtherApps
    API_MAC_DEP(10.0, 100000, "Use NSApp.activate instead.");
- (void)activate API_MAC(14.0);
@end
FOUNDATION_EXPORT __kindof NSApplication* _Null_unspecified NSApp;
typedef float NSLayoutPriority NS_TYPED_EXTENSIBLE_ENUM;
static const NSLayoutPriority NSLayoutPriorityRequired = 1000;
static const NSLayoutPriority NSLayoutPriorityDefaultHigh = 750;
static const NSLayoutPriority NSLayoutPriorityDefaultLow = 250;
typedef NS_ENUM(NSInteger, NSLayoutConstraintOrientation) {
  NSLayoutConstraintOrientationHorizontal = 0,
  NSLayoutConstraintOrientationVertical = 1
};
typedef NS_ENUM(NSInteger, NSUserInterfaceLayoutOrientation) {
  NSUserInterfaceLayoutOrientationHorizontal = 0,
  NSUserInterfaceLayoutOrientationVertical = 1
};
API_MAC(10.7)
@interface NSLayoutConstraint : NSObject
@property NSLayoutPriority priority;
@property CGFloat constant;
@property(getter=isActive) BOOL active API_MAC(10.10);
+ (void)activateConstraints:(NSArray<NSLayoutConstraint*>*)constraints API_MAC(10.10);
+ (void)deactivateConstraints:(NSArray<NSLayoutConstraint*>*)constraints API_MAC(10.10);
@end
API_MAC(10.11)
@interface NSLayoutAnchor<AnchorType> : NSObject <NSCopying, NSCoding>
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
    __attribute__((warn_unused_result));
- (NSLayoutConstraint*)constraintGreaterThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
    __attribute__((warn_unused_result));
- (NSLayoutConstraint*)constraintLessThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
    __attribute__((warn_unused_result));
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
                                      constant:(CGFloat)c __attribute__((warn_unused_result));
@end
API_MAC(10.11) @interface NSLayoutXAxisAnchor : NSLayoutAnchor<NSLayoutXAxisAnchor*>
@end
API_MAC(10.11) @interface NSLayoutYAxisAnchor : NSLayoutAnchor<NSLayoutYAxisAnchor*>
@end
API_MAC(10.11)
@interface NSLayoutDimension : NSLayoutAnchor <NSLayoutDimension*>
- (NSLayoutConstraint*)constraintEqualToConstant:(CGFloat)c __attribute__((warn_unused_result));
- (NSLayoutConstraint*)constraintGreaterThanOrEqualToConstant:(CGFloat)c __attribute__((warn_unused_result));
@end
#define DECL_ANCHORS                                                              \
  @property(readonly, strong) NSLayoutXAxisAnchor* leadingAnchor API_MAC(10.11);  \
  @property(readonly, strong) NSLayoutXAxisAnchor* trailingAnchor API_MAC(10.11); \
  @property(readonly, strong) NSLayoutYAxisAnchor* topAnchor API_MAC(10.11);      \
  @property(readonly, strong) NSLayoutYAxisAnchor* bottomAnchor API_MAC(10.11);   \
  @property(readonly, strong) NSLayoutDimension* widthAnchor API_MAC(10.11);      \
  @property(readonly, strong) NSLayoutDimension* heightAnchor API_MAC(10.11);     \
  @property(readonly, strong) NSLayoutXAxisAnchor* centerXAnchor API_MAC(10.11);  \
  @property(readonly, strong) NSLayoutYAxisAnchor* centerYAnchor API_MAC(10.11);
API_MAC(10.11)
@interface NSLayoutGuide : NSObject <NSCoding>
@property(nullable, weak) NSView* owningView;
DECL_ANCHORS
@end
@interface NSView : NSResponder
- (instancetype)initWithFrame:(NSRect)frameRect NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
- (void)addSubview:(NSView*)view;
- (void)removeFromSuperview;
@property(nullable, readonly, assign) NSWindow* window;
@property(getter=isHidden) BOOL hidden;
@property BOOL translatesAutoresizingMaskIntoConstraints API_MAC(10.7);
- (void)addLayoutGuide:(NSLayoutGuide*)guide API_MAC(10.11);
- (void)setContentHuggingPriority:(NSLayoutPriority)priority
                   forOrientation:(NSLayoutConstraintOrientation)orientation API_MAC(10.7);
DECL_ANCHORS
@end
typedef NS_ENUM(NSInteger, NSControlStateValueTag) { NSControlStateValueTagUnused };
typedef NSInteger NSControlStateValue NS_TYPED_EXTENSIBLE_ENUM;
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;
@interface NSControl : NSView
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* stringValue;
@end
@interface NSButton : NSControl
+ (instancetype)buttonWithTitle:(NSString*)title
                         target:(nullable id)target
                         action:(nullable SEL)action API_MAC(10.12);
+ (instancetype)checkboxWithTitle:(NSString*)title
                           target:(nullable id)target
                           action:(nullable SEL)action API_MAC(10.12);
@property(copy) NSString* title;
@property NSControlStateValue state;
@property(copy) NSString* keyEquivalent;
@end
@interface NSTextField : NSControl
+ (instancetype)labelWithString:(NSString*)stringValue API_MAC(10.12);
+ (instancetype)wrappingLabelWithString:(NSString*)stringValue API_MAC(10.12);
@end
@interface NSProgressIndicator : NSView
@property double doubleValue;
@property double maxValue;
@property(getter=isIndeterminate) BOOL indeterminate;
- (void)startAnimation:(nullable id)sender;
@end
API_MAC(10.9)
@interface NSStackView : NSView
+ (instancetype)stackViewWithViews:(NSArray<NSView*>*)views;
@property NSUserInterfaceLayoutOrientation orientation;
@property CGFloat spacing;
- (void)addArrangedSubview:(NSView*)view API_MAC(10.11);
@end
typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
  NSWindowStyleMaskBorderless = 0,
  NSWindowStyleMaskTitled = 1 << 0,
  NSWindowStyleMaskClosable = 1 << 1,
  NSWindowStyleMaskMiniaturizable = 1 << 2,
  NSWindowStyleMaskResizable = 1 << 3
};
typedef NS_ENUM(NSUInteger, NSBackingStoreType) { NSBackingStoreBuffered = 2 };
@protocol NSWindowDelegate <NSObject>
@optional
- (BOOL)windowShouldClose:(NSWindow*)sender;
- (void)windowWillClose:(NSNotification*)notification;
@end
@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_UNAVAILABLE;
@property(copy) NSString* title;
@property(nullable, strong) __kindof NSView* contentView;
@property(nullable, weak) id<NSWindowDelegate> delegate;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
- (void)makeKeyAndOrderFront:(nullable id)sender;
- (void)center;
- (void)close;
@end
typedef NS_ENUM(NSUInteger, NSAlertStyle) {
  NSAlertStyleWarning = 0,
  NSAlertStyleInformational = 1,
  NSAlertStyleCritical = 2
};
@interface NSAlert : NSObject
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
@property NSAlertStyle alertStyle;
- (NSButton*)addButtonWithTitle:(NSString*)title;
@property BOOL showsSuppressionButton;
@property(nullable, readonly, strong) NSButton* suppressionButton;
- (NSModalResponse)runModal;
- (void)beginSheetModalForWindow:(NSWindow*)sheetWindow
               completionHandler:(void (^_Nullable)(NSModalResponse returnCode))handler API_MAC(10.9);
@end
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs;
- (BOOL)openFile:(NSString*)fullPath API_MAC_DEP(10.0, 11.0, "Use -[NSWorkspace openURL:] instead.");
@end
#pragma clang assume_nonnull end

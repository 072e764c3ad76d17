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
typedef NS_ENUM(NSUInteger, NSEventType) { NSEventTypeApplicationDefined = 15 };
typedef NS_OPTIONS(NSUInteger, NSEventModifierFlags) { NSEventModifierFlagCommand = 1 << 20 };
@class NSGraphicsContext, NSMenu;
@interface NSEvent : NSObject <NSCopying, NSCoding>
+ (nullable NSEvent*)otherEventWithType:(NSEventType)type
                               location:(NSPoint)location
                          modifierFlags:(NSEventModifierFlags)flags
                              timestamp:(NSTimeInterval)time
                           windowNumber:(NSInteger)wNum
                                context:(nullable NSGraphicsContext*)unusedPassNil
                                subtype:(short)subtype
                                  data1:(NSInteger)d1
                                  data2:(NSInteger)d2;
@end
@interface NSMenuItem : NSObject <NSCopying, NSCoding>
- (instancetype)initWithTitle:(NSString*)string
                       action:(nullable SEL)selector
                keyEquivalent:(NSString*)charCode NS_DESIGNATED_INITIALIZER;
@property(nullable, weak) id target;
@property NSInteger tag;
@property(nullable, strong) NSMenu* submenu;
@end
@interface NSMenu : NSObject <NSCopying, NSCoding>
- (instancetype)initWithTitle:(NSString*)title NS_DESIGNATED_INITIALIZER;
- (void)addItem:(NSMenuItem*)newItem;
@end
@interface NSScreen : NSObject
@property(class, readonly, strong, nullable) NSScreen* mainScreen;
@property(readonly) NSRect visibleFrame;
@end
@interface NSColor : NSObject <NSCopying, NSSecureCoding>
@property(class, strong, readonly) NSColor* secondaryLabelColor API_MAC(10.10);
@property(class, strong, readonly) NSColor* tertiaryLabelColor API_MAC(10.10);
@end
typedef CGFloat NSFontWeight NS_TYPED_EXTENSIBLE_ENUM;
FOUNDATION_EXPORT const NSFontWeight NSFontWeightRegular API_MAC(10.11);
FOUNDATION_EXPORT const NSFontWeight NSFontWeightSemibold API_MAC(10.11);
@interface NSFont : NSObject <NSCopying, NSSecureCoding>
+ (NSFont*)systemFontOfSize:(CGFloat)fontSize;
+ (NSFont*)boldSystemFontOfSize:(CGFloat)fontSize;
+ (NSFont*)systemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight API_MAC(10.11);
+ (NSFont*)monospacedDigitSystemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight API_MAC(10.11);
@property(class, readonly) CGFloat systemFontSize;
@property(class, readonly) CGFloat smallSystemFontSize;
@end
@interface NSImage : NSObject <NSCopying, NSSecureCoding>
+ (nullable NSImage*)imageNamed:(NSString*)name;
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
typedef NS_ENUM(NSUInteger, NSRequestUserAttentionType) {
  NSCriticalRequest = 0,
  NSInformationalRequest = 10
};
@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
- (void)run;
- (void)stop:(nullable id)sender;
- (void)stopModal;
@property(nullable, readonly, weak) NSWindow* modalWindow;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)flag;
@property(nullable, strong) NSMenu* mainMenu;
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)requestType;
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
typedef NS_ENUM(NSInteger, NSLayoutAttribute) {
  NSLayoutAttributeLeading = 5,
  NSLayoutAttributeTrailing = 6,
  NSLayoutAttributeCenterX = 9,
  NSLayoutAttributeCenterY = 10
};
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
@property(nullable, readonly, assign) id firstItem;
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
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutDimension*)anchor
                                    multiplier:(CGFloat)m __attribute__((warn_unused_result));
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
@property(copy) NSArray<__kindof NSView*>* subviews;
@property(nullable, copy) NSString* accessibilityIdentifier API_MAC(10.10);
- (void)setContentCompressionResistancePriority:(NSLayoutPriority)priority
                                 forOrientation:(NSLayoutConstraintOrientation)orientation API_MAC(10.7);
- (void)removeFromSuperview;
@property(nullable, readonly, assign) NSWindow* window;
@property(getter=isHidden) BOOL hidden;
@property BOOL translatesAutoresizingMaskIntoConstraints API_MAC(10.7);
- (void)addLayoutGuide:(NSLayoutGuide*)guide API_MAC(10.11);
- (void)updateConstraints API_MAC(10.7);
- (BOOL)isDescendantOf:(NSView*)view;
@property(nullable, copy) NSString* toolTip;
- (void)setContentHuggingPriority:(NSLayoutPriority)priority
                   forOrientation:(NSLayoutConstraintOrientation)orientation API_MAC(10.7);
DECL_ANCHORS
@end
typedef NS_ENUM(NSInteger, NSControlStateValueTag) { NSControlStateValueTagUnused };
typedef NSInteger NSControlStateValue NS_TYPED_EXTENSIBLE_ENUM;
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;
typedef NS_ENUM(NSUInteger, NSLineBreakMode) {
  NSLineBreakByWordWrapping = 0,
  NSLineBreakByTruncatingTail = 4
};
@interface NSCell : NSObject <NSCopying, NSCoding>
@property BOOL truncatesLastVisibleLine;
@end
@interface NSControl : NSView
@property(nullable, strong) __kindof NSCell* cell;
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* stringValue;
@property(nullable, strong) NSFont* font;
@property NSLineBreakMode lineBreakMode API_MAC(10.10);
- (void)sizeToFit;
@end
typedef NS_ENUM(NSUInteger, NSBezelStyle) { NSBezelStyleRounded = 1 };
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
@property NSBezelStyle bezelStyle;
@end
@interface NSTextField : NSControl
+ (instancetype)labelWithString:(NSString*)stringValue API_MAC(10.12);
@property(nullable, copy) NSColor* textColor;
@property NSInteger maximumNumberOfLines API_MAC(10.11);
+ (instancetype)wrappingLabelWithString:(NSString*)stringValue API_MAC(10.12);
@end
typedef NS_ENUM(NSUInteger, NSProgressIndicatorStyle) {
  NSProgressIndicatorStyleBar = 0,
  NSProgressIndicatorStyleSpinning = 1
};
@interface NSProgressIndicator : NSView
@property double doubleValue;
@property double maxValue;
@property(getter=isIndeterminate) BOOL indeterminate;
- (void)startAnimation:(nullable id)sender;
- (void)stopAnimation:(nullable id)sender;
@property double minValue;
@property BOOL usesThreadedAnimation;
@property NSProgressIndicatorStyle style;
@end
typedef NS_ENUM(NSUInteger, NSImageScaling) {
  NSImageScaleProportionallyDown = 0,
  NSImageScaleAxesIndependently = 1,
  NSImageScaleNone = 2,
  NSImageScaleProportionallyUpOrDown = 3
};
@interface NSImageView : NSControl
+ (instancetype)imageViewWithImage:(NSImage*)image API_MAC(10.12);
@property NSImageScaling imageScaling;
@end
typedef NS_ENUM(NSUInteger, NSBoxType) { NSBoxPrimary = 0, NSBoxSeparator = 2, NSBoxCustom = 4 };
typedef NS_ENUM(NSUInteger, NSTitlePosition) { NSNoTitle = 0 };
@interface NSBox : NSView
@property NSBoxType boxType;
@property NSTitlePosition titlePosition;
@property(copy) NSColor* borderColor API_MAC(10.5);
@property NSSize contentViewMargins;
@property(nullable, strong) __kindof NSView* contentView;
@end
@interface NSTextView : NSView
@property(copy) NSString* string;
@end
@interface NSScrollView : NSView
@property BOOL hasVerticalScroller;
@property(nullable, strong) __kindof NSView* documentView;
@end
typedef NS_ENUM(NSInteger, NSStackViewDistribution) {
  NSStackViewDistributionGravityAreas = -1,
  NSStackViewDistributionFill = 0
};
@class NSStackView;
@protocol NSStackViewDelegate <NSObject>
@optional
- (void)stackView:(NSStackView*)stackView willDetachViews:(NSArray<NSView*>*)views API_MAC(10.9);
- (void)stackView:(NSStackView*)stackView didReattachViews:(NSArray<NSView*>*)views API_MAC(10.9);
@end
API_MAC(10.9)
@interface NSStackView : NSView
@property(nullable, weak) id<NSStackViewDelegate> delegate;
@property NSLayoutAttribute alignment;
@property NSStackViewDistribution distribution API_MAC(10.11);
@property BOOL detachesHiddenViews API_MAC(10.11);
@property(readonly, copy) NSArray<__kindof NSView*>* arrangedSubviews API_MAC(10.11);
@property(readonly, copy) NSArray<__kindof NSView*>* detachedViews;
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
typedef NS_OPTIONS(NSUInteger, NSWindowCollectionBehavior) {
  NSWindowCollectionBehaviorDefault = 0,
  NSWindowCollectionBehaviorCanJoinAllSpaces = 1 << 0
};
typedef NS_ENUM(NSInteger, NSWindowTabbingMode) {
  NSWindowTabbingModeAutomatic,
  NSWindowTabbingModePreferred,
  NSWindowTabbingModeDisallowed
};
typedef NSInteger NSWindowLevel NS_TYPED_EXTENSIBLE_ENUM;
static const NSWindowLevel NSNormalWindowLevel = 0;
static const NSWindowLevel NSFloatingWindowLevel = 3;
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
@property NSSize minSize;
@property NSWindowCollectionBehavior collectionBehavior API_MAC(10.5);
@property NSWindowLevel level;
@property BOOL hidesOnDeactivate;
@property NSWindowTabbingMode tabbingMode API_MAC(10.12);
- (void)performClose:(nullable id)sender;
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

// Hand-written declarations for type checking only.
#pragma once
#include <objc/objc.h>
typedef signed long NSInteger;
typedef unsigned long NSUInteger;
@class NSString, NSMethodSignature, NSInvocation;
struct _NSZone;
typedef struct _NSZone NSZone;
#pragma clang assume_nonnull begin
@protocol NSObject
- (BOOL)isEqual:(nullable id)object;
@property(readonly) NSUInteger hash;
@property(readonly) Class superclass;
- (Class)class;
- (instancetype)self;
- (BOOL)isProxy;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)isMemberOfClass:(Class)aClass;
- (BOOL)conformsToProtocol:(Protocol*)aProtocol;
- (BOOL)respondsToSelector:(SEL)aSelector;
@property(readonly, copy) NSString* description;
@optional
@property(readonly, copy) NSString* debugDescription;
@end
__attribute__((objc_root_class, visibility("default")))
@interface NSObject<NSObject> {
  Class isa;
}
+ (void)load;
+ (void)initialize;
- (instancetype)init __attribute__((objc_designated_initializer));
+ (instancetype)new;
+ (instancetype)alloc;
- (void)dealloc;
- (id)copy;
- (id)mutableCopy;
+ (Class)class;
+ (BOOL)instancesRespondToSelector:(SEL)aSelector;
+ (BOOL)conformsToProtocol:(Protocol*)protocol;
@end
#pragma clang assume_nonnull end

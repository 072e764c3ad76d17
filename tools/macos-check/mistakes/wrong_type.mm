// stage: compile
// clang-format off
// refused: cannot initialize a parameter of type 'NSURL \*|incompatible pointer types sending 'NSString \*.*'NSURL \*
// clang-format on
#import <Foundation/Foundation.h>
NSBundle* bundle(NSString* path) {
#ifdef MISTAKE
  return [NSBundle bundleWithURL:path];
#else
  return [NSBundle bundleWithPath:path];
#endif
}

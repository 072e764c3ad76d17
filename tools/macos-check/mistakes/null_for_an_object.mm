// stage: compile
// refused: null passed to a callee that requires a non-null argument
#import <Foundation/Foundation.h>
NSURL* folder() {
#ifdef MISTAKE
  return [NSURL fileURLWithPath:nil];
#else
  return [NSURL fileURLWithPath:@"/"];
#endif
}

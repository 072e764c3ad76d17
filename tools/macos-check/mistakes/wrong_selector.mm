// stage: compile
// refused: no known class method for selector 'stringWithUTF8Text:'
#import <Foundation/Foundation.h>
NSString* text() {
#ifdef MISTAKE
  return [NSString stringWithUTF8Text:"x"];
#else
  return [NSString stringWithUTF8String:"x"];
#endif
}

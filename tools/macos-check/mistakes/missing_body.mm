// stage: link
// frameworks: Foundation
// refused: undefined symbol: makeBody\(\)
#import <Foundation/Foundation.h>
int makeBody();
#ifndef MISTAKE
int makeBody() { return 0; }
#endif
int main() { return makeBody(); }

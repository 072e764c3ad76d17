// stage: compile
// refused: 'SMJobSubmit' is deprecated: first deprecated in macOS 10\.10
#import <ServiceManagement/ServiceManagement.h>
#ifndef MISTAKE
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#endif
bool submit(CFDictionaryRef job) { return SMJobSubmit(kSMDomainUserLaunchd, job, nullptr, nullptr) != 0; }

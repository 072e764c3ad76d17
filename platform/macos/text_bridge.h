#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

// The conversions between texts and Foundation's strings. Included by the bodies of this folder alone. Pure
// functions; any thread. Returned objects belong to the caller as usual under reference counting.
namespace pellam::macos {

// An ill-formed UTF-8 sequence becomes U+FFFD.
[[nodiscard]] NSString* _Nonnull stringFrom(std::string_view text);
// Empty for nil.
[[nodiscard]] std::string textOf(NSString* _Nullable string);

}  // namespace pellam::macos

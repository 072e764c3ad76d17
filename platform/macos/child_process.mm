#include "platform/child_process.h"

#include "platform/macos/foundation_bridge.h"

namespace pellam {

namespace {

class ChildProcessRunner final : public ChildProcessRunning {
 public:
  ChildProcessResult run(const std::filesystem::path& executable,
                         const std::vector<std::string>& arguments) override {
    ChildProcessResult result;
    // A program without an event loop never empties the pool of its thread, pipes and all.
    @autoreleasepool {
      NSMutableArray<NSString*>* words = [NSMutableArray array];
      for (const std::string& argument : arguments) [words addObject:macos::stringFrom(argument)];
      NSPipe* pipe = [NSPipe pipe];
      NSTask* task = [[NSTask alloc] init];
      task.executableURL = macos::fileURL(executable);
      task.arguments = words;
      task.standardInput = NSFileHandle.fileHandleWithNullDevice;
      task.standardOutput = pipe;
      task.standardError = pipe;

      NSError* error = nil;
      if (![task launchAndReturnError:&error]) {
        result.launchError = macos::bridgedError(error);
        return result;
      }
      // Reading while the tool runs keeps a talkative tool from blocking on a full pipe.
      NSData* output = [pipe.fileHandleForReading readDataToEndOfFileAndReturnError:nil];
      if (output != nil) result.output.assign(static_cast<const char*>(output.bytes), output.length);
      [task waitUntilExit];
      result.terminationStatus = task.terminationStatus;
    }
    return result;
  }
};

}  // namespace

// The system has both tools, so the folder with an application's own is not looked at.
std::shared_ptr<ChildProcessRunning> makeSystemChildProcessRunner(std::filesystem::path) {
  return std::make_shared<ChildProcessRunner>();
}

}  // namespace pellam

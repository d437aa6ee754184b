// Waits for a descriptor to become readable, in a thread of its own.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "platform/linux/process/file_descriptor.h"
#include "platform/process.h"
#include "support/dispatch.h"

namespace quorvane::platform::process {

// Posts the handler to the queue for each time that the descriptor was readable. consume() takes
// the event off the descriptor, on the source's thread, and says whether to go on waiting.
class DescriptorSource final : public EventSource {
  public:
    DescriptorSource(const std::string& name, FileDescriptor descriptor,
                     std::function<bool(int descriptor)> consume, support::Queue& queue,
                     std::function<void()> handler);
    ~DescriptorSource() override;
    DescriptorSource(const DescriptorSource&) = delete;
    DescriptorSource& operator=(const DescriptorSource&) = delete;

    // No handler is posted any more. Waits for the thread; not to be called from it.
    void cancel() override;

  private:
    FileDescriptor descriptor_;
    FileDescriptor wake_;  // an eventfd
    std::thread thread_;
};

}  // namespace quorvane::platform::process

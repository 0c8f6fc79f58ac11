// The one installed trace sink.
#include <host/TraceSink.h>

namespace android::host {

std::atomic<TraceSink*> gTraceSink{nullptr};

}  // namespace android::host

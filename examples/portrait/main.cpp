// Runs a clip with missing parts through the portrait stage and shows what became of each frame.
#include <media/stagefright/foundation/ALooper.h>

#include <cstdio>
#include <cstdlib>

#include "ContactSheet.h"
#include "PortraitClient.h"
#include "PortraitStage.h"

using namespace android;

namespace {

constexpr int kColumns = 6;

int runClip(const PortraitClient::Clip& clip, ContactSheet* sheet, const char* path) {
    const sp<PortraitClient> client = new PortraitClient(clip);
    const sp<ALooper> looper = new ALooper;
    looper->setName("client");
    looper->start(false, false, APipe::kLooperPriority);
    looper->registerHandler(client);
    const bool ended = client->run(new PortraitStage(nullptr, client->notify()));
    looper->stop();
    if (!ended) {
        fprintf(stderr, "portrait: the stage failed; see the log\n");
        return 1;
    }
    for (const int frame : client->lostFrames()) {
        sheet->paste(frame, client->frame(frame));
        sheet->dim(frame);
    }
    if (!sheet->write(path)) {
        fprintf(stderr, "portrait: %s cannot be written\n", path);
        return 1;
    }
    return client->report() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    PortraitClient::Clip clip;
    if (argc > 2) clip.frames = atoi(argv[2]);
    if (argc > 3) clip.lossPercent = atoi(argv[3]);
    if (argc > 4) clip.seed = static_cast<unsigned>(atoi(argv[4]));
    if (argc < 2 || argc > 5 || clip.frames < 1 || clip.frames > 1000) {
        fprintf(stderr,
                "usage: portrait picture.png [frames, 1 to 1000 [loss in percent [seed]]]\n");
        return 2;
    }
    ContactSheet sheet(clip.frames, kColumns, clip.width, clip.height);
    clip.show = [&](int frame, const Picture& picture) { sheet.paste(frame, picture); };
    return runClip(clip, &sheet, argv[1]);
}

// The portrait example's stage as a plug-in.
#include <kit/StagePlugin.h>

#include "PortraitStage.h"

PLEXA_STAGE(android::PortraitStage)

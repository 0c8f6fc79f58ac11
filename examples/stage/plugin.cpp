// The entry point by which plexa loads the stage.
#include "WatermarkStage.h"

PLEXA_STAGE(demo::WatermarkStage)

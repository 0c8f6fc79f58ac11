plexa_platform_part(utils
    BlockPool.cpp
    FaultInjection.cpp
    Log.cpp
    RefBase.cpp
    TraceSink.cpp)

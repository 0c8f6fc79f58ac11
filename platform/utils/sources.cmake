plexa_platform_part(utils
    FaultInjection.cpp
    Heap.cpp
    Log.cpp
    RefBase.cpp
    TraceSink.cpp)

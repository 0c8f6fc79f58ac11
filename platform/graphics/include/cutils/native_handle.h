// native_handle_t: file descriptors and integers that name a buffer across processes.
#pragma once

// data[0 … numFds-1] are file descriptors, data[numFds … numFds+numInts-1] the allocator's own
// integers. A handle is owned by whoever allocated it; everyone else borrows it.
typedef struct native_handle {
    int version;  // sizeof(native_handle_t)
    int numFds;
    int numInts;
    __extension__ int data[0];
} native_handle_t;

typedef const native_handle_t* buffer_handle_t;

// A handle with its data zeroed, or null when a count is negative or above 1024, or without
// memory.
native_handle_t* native_handle_create(int numFds, int numInts);

// Frees the handle, not its descriptors. Null is fine. Returns 0.
int native_handle_delete(native_handle_t* handle);

// Closes the descriptors, not the handle. Null is fine. Returns 0.
int native_handle_close(const native_handle_t* handle);

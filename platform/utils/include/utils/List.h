// List<T>: a doubly linked list.
#pragma once

#include <host/Heap.h>

#include <list>

namespace android {

// Iterators stay valid until their own element is erased; insert() puts before its iterator.
// Threading: reentrant.
template <typename T>
class List : private std::list<T, host::HeapAllocator<T>> {
    using Base = std::list<T, host::HeapAllocator<T>>;

public:
    using typename Base::const_iterator;
    using typename Base::iterator;
    using typename Base::value_type;

    using Base::Base;
    using Base::begin;
    using Base::clear;
    using Base::empty;
    using Base::end;
    using Base::erase;
    using Base::insert;
    using Base::push_back;
    using Base::push_front;
    using Base::size;
};

}  // namespace android

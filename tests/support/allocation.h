#pragma once

// Watches the C heap: counts, makes one allocation fail, and fails the test for what is still held at
// the end. Seen are malloc, calloc, realloc and free of all code linked into the test executable (the
// linker puts the watched functions in their place), not operator new.
//
//     Allocations heap;
//     heap.fail(2);                                             // the second from here gives null
//     jvm.run(Java_com_brel_sorn_velk_Field_toC, field);
//     EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{56});    // the record is held, nothing else
//     jvm.run(Java_com_brel_sorn_velk_Field_free, field);

#include <cstddef>
#include <unordered_map>
#include <vector>

namespace velk::test {

struct Allocation {
    void* address;
    std::size_t size; // bytes asked for
};

// One at a time. What is allocated before its life is none of its business.
class Allocations {
public:
    Allocations();
    ~Allocations();
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    // Makes the nth allocation from now on give null, once.
    void fail(std::size_t nth) { countdown = nth; }
    // Makes the next malloc give this block, whatever it asks for. Freed, the block is the test's again.
    void lend(void* block) { loan = block; }
    // Whether the allocation that was to fail has come.
    bool has_failed() const { return failed; }
    // Bytes that it asked for.
    std::size_t refused_size() const { return refused; }

    std::size_t made() const { return allocated; } // failed ones included
    std::size_t freed() const { return released; } // of those made

    // Held now, in the order they were made.
    std::vector<Allocation> held() const;
    std::vector<std::size_t> sizes() const;
    // Bytes of a held allocation; 0 where none begins there.
    std::size_t size_of(const void* address) const;

    // Called by the allocation functions.
    bool refuses(std::size_t size);
    void* take_loan();
    bool take_back(const void* address);
    void add(void* address, std::size_t size);
    void remove(void* address);

private:
    struct Held {
        std::size_t size;
        std::size_t serial;
    };
    std::unordered_map<const void*, Held> blocks;
    std::size_t allocated = 0;
    std::size_t released = 0;
    std::size_t countdown = 0;
    std::size_t refused = 0;
    bool failed = false;
    void* loan = nullptr;    // to be given
    void* on_loan = nullptr; // given and not freed yet
};

} // namespace velk::test

// The containers, driven by a program of bytes, beside plain models of what they hold.

#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/ContainerModels.h"
#include "tests/fuzz/ContainerObjects.h"
#include "tests/fuzz/Require.h"

#include <cstddef>
#include <cstdint>

namespace {

using qel::fuzz::ArrayModel;
using qel::fuzz::ByteProgram;
using qel::fuzz::DictionaryModel;
using qel::fuzz::Item;
using qel::fuzz::Kind;
using qel::fuzz::ObjectPool;

Item MakeObject(ByteProgram& program, const ObjectPool& pool) {
    switch (program.Below(5)) {
    case 0:
        return {qel::fuzz::MakeString(program), 1};
    case 1:
        return {qel::fuzz::MakeNumber(program), 1};
    case 2:
        return {qel::fuzz::MakeData(program), 1};
    case 3:
        return {qel::fuzz::MakeUUID(program), 1};
    default: {
        const Item text = pool.Any(program);
        const Item base = program.Coin() ? pool.Any(program) : Item{};
        return {qel::fuzz::MakeURL(text.value, base.value), text.weight + base.weight};
    }
    }
}

class Containers {
public:
    explicit Containers(ByteProgram& program) : mCapacity(qel::fuzz::AnyIndex(program, 20)) {}

    // Several steps of one container, so that it grows, or a copy of it for the pool.
    void Step(ByteProgram& program, ObjectPool& pool) {
        const std::uint32_t kind = program.Below(3);
        const std::uint32_t subject = program.Below(7);
        switch (subject) {
        case 0:
            pool.Adopt(mArrays[kind].Copy(), program);
            return;
        case 1:
            pool.Adopt(mDictionaries[kind].Copy(), program);
            return;
        case 2:
            pool.Adopt(mDictionaries[kind].MakeWhole(program, pool), program);
            return;
        default:
            break;
        }
        for (std::uint32_t steps = program.Below(32); steps > 0 && !program.AtEnd(); --steps) {
            if (subject < 5) {
                mArrays[kind].Step(program, pool);
            } else {
                mDictionaries[kind].Step(program, pool);
            }
        }
    }

private:
    CFIndex mCapacity;
    ArrayModel mArrays[3] = {
        {Kind::Objects, mCapacity}, {Kind::Tokens, mCapacity}, {Kind::Pointers, mCapacity}};
    DictionaryModel mDictionaries[3] = {
        {Kind::Objects, mCapacity}, {Kind::Tokens, mCapacity}, {Kind::Pointers, mCapacity}};
};

void Run(ByteProgram& program) {
    ObjectPool pool;
    Containers containers(program);
    while (!program.AtEnd()) {
        if (program.Seldom(3)) {
            pool.Adopt(MakeObject(program, pool), program);
        } else {
            containers.Step(program, pool);
        }
    }
    pool.Check();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteProgram program(data, size);
    Run(program);
    qel::fuzz::Require(qel::fuzz::NoTokenIsHeld(), "what was retained is released");
    return 0;
}

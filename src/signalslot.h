// Signals and slots: synchronous callbacks run in the order they were connected.
#pragma once

#include <functional>
#include <vector>

// Minimal publish/subscribe: slots run synchronously, in connection order, each
// with its own copy of the arguments.
template <typename... Args> class Signal
{
public:
    // One connected callback; it receives its arguments by value.
    using Slot = std::function<void(Args...)>;

    // Connected slots, in call order.
    std::vector<Slot> slots;

    // Appends a slot; it is called after every slot connected before it.
    void connect(Slot NewSlot) { slots.push_back(std::move(NewSlot)); }

    // Calls every slot in order. The live vector is walked with its ends taken once,
    // and each slot copies the arguments at the moment of its own call, so a slot that
    // changes an argument object changes what later slots receive. An empty slot throws
    // std::bad_function_call and ends the emission.
    template <typename... Ts> void emit(Ts&&... Values) const
    {
        auto it = slots.begin();
        const auto end = slots.end();
        for (; it != end; ++it)
        {
            // Passed as lvalues: every slot gets a full copy, none is moved from.
            (*it)(Values...);
        }
    }
};

// Internal to the host sides: the table of open directory searches, the same on every host.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "core/WindowsTypes.h"
#include "platform/lasterror.h"

namespace platform {

static_assert(sizeof(HANDLE) == sizeof(uint64_t), "a search handle carries a slot and a generation");

// The open searches. A handle is the slot's index + 1 in its low half and the slot's generation in its
// high half; the generation changes whenever a search leaves its slot, so an old handle never names the
// search that comes after it.
template <typename Search>
class SearchTable
{
public:
    // The process's one table, never destroyed: a search may still be ended while the statics go away.
    static SearchTable& Instance()
    {
        static SearchTable* table = new SearchTable;
        return *table;
    }

    // The search a handle names; null, with the last error kErrorInvalidHandle, for one that names none.
    Search* FindOpen(HANDLE handle)
    {
        Search* search = Find(handle);
        if (search == nullptr)
            SetLastError(kErrorInvalidHandle);
        return search;
    }

    HANDLE Add(std::unique_ptr<Search> search)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        uint32_t index;
        if (!m_free.empty()) {
            index = m_free.back();
            m_free.pop_back();
        } else {
            if (m_slots.size() >= kMaxSlots) {
                SetLastError(kErrorNotEnoughMemory);
                return INVALID_HANDLE_VALUE;
            }
            index = static_cast<uint32_t>(m_slots.size());
            m_slots.emplace_back();
        }
        Slot& slot = m_slots[index];
        slot.search = std::move(search);
        const uint64_t value = (uint64_t{slot.generation} << 32) | (uint64_t{index} + 1);
        return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(value));
    }

    Search* Find(HANDLE handle)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        Slot* slot = SlotOf(handle);
        return slot != nullptr ? slot->search.get() : nullptr;
    }

    std::unique_ptr<Search> Remove(HANDLE handle)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        Slot* slot = SlotOf(handle);
        if (slot == nullptr)
            return nullptr;
        slot->generation = slot->generation == kMaxGeneration ? 1 : slot->generation + 1;
        m_free.push_back(static_cast<uint32_t>(slot - m_slots.data()));
        return std::move(slot->search);
    }

private:
    // Both halves stay below all ones, so no handle is INVALID_HANDLE_VALUE, and above 0, so none is null.
    static constexpr size_t kMaxSlots = 0x7FFFFFFF;
    static constexpr uint32_t kMaxGeneration = 0x7FFFFFFF;

    struct Slot {
        std::unique_ptr<Search> search;
        uint32_t generation = 1;
    };

    Slot* SlotOf(HANDLE handle)
    {
        const uint64_t value = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(handle));
        const uint64_t index = (value & 0xFFFFFFFFu) - 1;  // a low half of 0 wraps to far beyond any slot
        if (index >= m_slots.size() || m_slots[index].search == nullptr ||
            m_slots[index].generation != (value >> 32))
            return nullptr;
        return &m_slots[index];
    }

    std::mutex m_lock;
    std::vector<Slot> m_slots;
    std::vector<uint32_t> m_free;
};

}  // namespace platform

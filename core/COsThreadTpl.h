// COsThreadTpl: a COsThread whose run and close are member functions of an object of class T.
#pragma once

#include "COsThread.h"

template <class T>
class COsThreadTpl : public COsThread
{
public:
    typedef void (T::*PFN_OBJ_RUN)();
    typedef void (T::*PFN_OBJ_CLOSE)();
    typedef void (T::*PFN_OBJ_RUN_ARGS)(void** ppArgs);

    // A new thread object on pObject, not started; null only if memory ran out.
    static COsThreadTpl* CreateThread(T* pObject, PFN_OBJ_RUN pfnRun)
    {
        return Make(pObject, pfnRun, nullptr, nullptr);
    }
    static COsThreadTpl* CreateThread(T* pObject, PFN_OBJ_RUN pfnRun, PFN_OBJ_CLOSE pfnClose)
    {
        return Make(pObject, pfnRun, pfnClose, nullptr);
    }
    static COsThreadTpl* CreateThread(T* pObject, PFN_OBJ_RUN_ARGS pfnRunArgs)
    {
        return Make(pObject, nullptr, nullptr, pfnRunArgs);
    }
    static COsThreadTpl* CreateThread(T* pObject, PFN_OBJ_RUN_ARGS pfnRunArgs, PFN_OBJ_CLOSE pfnClose)
    {
        return Make(pObject, nullptr, pfnClose, pfnRunArgs);
    }

    ~COsThreadTpl() override
    {
        // The thread calls this class's Run and OnClose: it has to end while they are still this class's.
        EndBeforeDestruction();
    }

protected:
    COsThreadTpl() : m_pObject(nullptr), m_pfnObjRun(nullptr), m_pfnObjClose(nullptr), m_pfnObjRunArgs(nullptr) {}

    void OnClose() override
    {
        if (m_pObject != nullptr && m_pfnObjClose != nullptr)
            (m_pObject->*m_pfnObjClose)();
    }

    uint32_t Run() override
    {
        if (m_bHasArgs) {
            if (m_pObject == nullptr || m_pfnObjRunArgs == nullptr) {
                m_ppArgs = nullptr;
                return 0x80000000u;
            }
            (m_pObject->*m_pfnObjRunArgs)(m_ppArgs);  // the thread clears m_ppArgs once the run is over
            return 0;
        }
        if (m_pObject == nullptr || m_pfnObjRun == nullptr)
            return 0x80000000u;
        (m_pObject->*m_pfnObjRun)();
        return 0;
    }

    T* m_pObject;
    PFN_OBJ_RUN m_pfnObjRun;
    PFN_OBJ_CLOSE m_pfnObjClose;
    PFN_OBJ_RUN_ARGS m_pfnObjRunArgs;

private:
    static COsThreadTpl* Make(T* pObject, PFN_OBJ_RUN pfnRun, PFN_OBJ_CLOSE pfnClose, PFN_OBJ_RUN_ARGS pfnRunArgs)
    {
        COsThreadTpl* thread = NewOrNull([] { return new COsThreadTpl; });
        if (thread == nullptr)
            return nullptr;
        thread->m_pObject = pObject;
        thread->m_pfnObjRun = pfnRun;
        thread->m_pfnObjClose = pfnClose;
        thread->m_pfnObjRunArgs = pfnRunArgs;
        thread->m_bHasArgs = pfnRunArgs != nullptr;
        return thread;
    }
};

#pragma once
// Typed observer lists: a synchronous call on the notifying thread. An observed class T derives
// from LNotifier<T>; its observers derive from LNotifyee<T>.

#include <algorithm>
#include <vector>

template <class T>
class LNotifyee
{
public:
    virtual ~LNotifyee() = default;
    virtual void EvNotify(T& notifier) = 0;
};

template <class T, class A>
class LNotifyee1Arg
{
public:
    virtual ~LNotifyee1Arg() = default;
    virtual void EvNotify(T& notifier, A arg) = 0;
};

// The one observer list of the program, for every notifier. A notifyee may add or remove
// notifyees (itself included) from inside its call, even destroy them: one removed during a round
// is not called later in that round, and one added during a round waits for the next. Removal
// during a round leaves an empty slot, compacted when the outermost round ends, so no round ever
// holds a pointer the list no longer has.
template <class N>
class LNotifierList
{
public:
    LNotifierList() = default;
    LNotifierList(const LNotifierList&) = delete;
    LNotifierList& operator=(const LNotifierList&) = delete;

    // False when notifyee is in the list already, or memory runs out.
    bool AddNotifyee(N* notifyee)
    {
        if (!notifyee || IsNotifyee(notifyee))
            return false;
        try
        {
            arNotifyees.push_back(notifyee);
        }
        catch (...)
        {
            return false;
        }
        return true;
    }
    bool RemoveNotifyee(N* notifyee)
    {
        if (!notifyee)
            return false;
        auto it = std::find(arNotifyees.begin(), arNotifyees.end(), notifyee);
        if (it == arNotifyees.end())
            return false;
        if (iRounds > 0)
        {
            *it = nullptr;
            bHoles = true;
        }
        else
            arNotifyees.erase(it);
        return true;
    }
    bool IsNotifyee(const N* notifyee) const
    {
        return notifyee && std::find(arNotifyees.begin(), arNotifyees.end(), notifyee) != arNotifyees.end();
    }
    size_t GetNotifyeeCount() const
    {
        return size_t(
            std::count_if(arNotifyees.begin(), arNotifyees.end(), [](N* n) { return n != nullptr; }));
    }

    // One round: call(notifyee) for each notifyee listed when the round began and still listed.
    template <class Call>
    void ForEachNotifyee(Call call)
    {
        const size_t count = arNotifyees.size();
        ++iRounds;
        // By index: an addition may move the storage.
        for (size_t i = 0; i < count; ++i)
            if (N* n = arNotifyees[i])
                call(n);
        if (--iRounds == 0 && bHoles)
        {
            arNotifyees.erase(std::remove(arNotifyees.begin(), arNotifyees.end(), nullptr),
                              arNotifyees.end());
            bHoles = false;
        }
    }

private:
    std::vector<N*> arNotifyees;
    int iRounds = 0;
    bool bHoles = false;
};

template <class T>
class LNotifier : public LNotifierList<LNotifyee<T>>
{
public:
    // Calls each notifyee in list order with the notifier.
    void Notify()
    {
        T& self = static_cast<T&>(*this);
        this->ForEachNotifyee([&](LNotifyee<T>* n) { n->EvNotify(self); });
    }
};

template <class T, class A>
class LNotifier1Arg : public LNotifierList<LNotifyee1Arg<T, A>>
{
public:
    void Notify(A arg)
    {
        T& self = static_cast<T&>(*this);
        this->ForEachNotifyee([&](LNotifyee1Arg<T, A>* n) { n->EvNotify(self, arg); });
    }
};

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

// The list shared by both notifiers. A notifyee may add or remove notifyees (itself included)
// from inside its call: one removed during a round is not called later in that round, and one
// added during a round waits for the next.
template <class N>
class LNotifierList
{
public:
    // False when notifyee is in the list already.
    bool AddNotifyee(N* notifyee)
    {
        if (!notifyee || IsNotifyee(notifyee))
            return false;
        arNotifyees.push_back(notifyee);
        return true;
    }
    bool RemoveNotifyee(N* notifyee)
    {
        auto it = std::find(arNotifyees.begin(), arNotifyees.end(), notifyee);
        if (it == arNotifyees.end())
            return false;
        arNotifyees.erase(it);
        return true;
    }
    bool IsNotifyee(const N* notifyee) const
    {
        return std::find(arNotifyees.begin(), arNotifyees.end(), notifyee) != arNotifyees.end();
    }
    size_t GetNotifyeeCount() const { return arNotifyees.size(); }

protected:
    template <class Call>
    void ForEach(Call call)
    {
        if (arNotifyees.empty())
            return;
        const std::vector<N*> round = arNotifyees;
        for (N* n : round)
            if (IsNotifyee(n))
                call(n);
    }

private:
    std::vector<N*> arNotifyees;
};

template <class T>
class LNotifier : public LNotifierList<LNotifyee<T>>
{
public:
    // Calls each notifyee in list order with the notifier.
    void Notify()
    {
        T& self = static_cast<T&>(*this);
        this->ForEach([&](LNotifyee<T>* n) { n->EvNotify(self); });
    }
};

template <class T, class A>
class LNotifier1Arg : public LNotifierList<LNotifyee1Arg<T, A>>
{
public:
    void Notify(A arg)
    {
        T& self = static_cast<T&>(*this);
        this->ForEach([&](LNotifyee1Arg<T, A>* n) { n->EvNotify(self, arg); });
    }
};

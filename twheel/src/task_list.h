#pragma once

namespace twheel {

// TaskLink is a task's place in one list. Lists are circles through a sentinel, so a task leaves whatever
// list it is in without knowing which.
struct TaskLink
{
    TaskLink* next = nullptr;
    TaskLink* prev = nullptr;

    bool linked() const { return next != nullptr; }

    void unlink()
    {
        next->prev = prev;
        prev->next = next;
        next = nullptr;
        prev = nullptr;
    }
};

// TaskList is the sentinel of such a circle. It owns nothing and must not be moved while it holds something.
class TaskList final
{
public:
    TaskList() { m_end.next = m_end.prev = &m_end; }
    TaskList(const TaskList&) = delete;
    TaskList& operator=(const TaskList&) = delete;

    bool empty() const { return m_end.next == &m_end; }
    TaskLink* front() const { return m_end.next; }
    const TaskLink* end() const { return &m_end; }

    void pushBack(TaskLink& link)
    {
        TaskLink* last = m_end.prev;
        link.prev = last;
        link.next = &m_end;
        last->next = &link;
        m_end.prev = &link;
    }

    void pushFront(TaskLink& link)
    {
        TaskLink* first = m_end.next;
        link.next = first;
        link.prev = &m_end;
        first->prev = &link;
        m_end.next = &link;
    }

    // Appends everything that `other` holds, in its order, and leaves it empty. Constant time.
    void splice(TaskList& other)
    {
        if (other.empty()) {
            return;
        }
        TaskLink* first = other.m_end.next;
        TaskLink* last = other.m_end.prev;
        first->prev = m_end.prev;
        m_end.prev->next = first;
        last->next = &m_end;
        m_end.prev = last;
        other.m_end.next = other.m_end.prev = &other.m_end;
    }

private:
    TaskLink m_end;
};

} // namespace twheel

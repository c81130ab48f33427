// kxlist.h - List<T>: a doubly linked list indexed from 1 with a remembered current position.
//
// Indexing runs from 1 to size(). The list remembers a current index and, when that index lies
// in 1..size(), the element there; every lookup by index starts from the nearest of head, tail
// and current element, so loops over increasing or decreasing indices cost one step each.
// The walking idiom:
//   list.set_idx(0);
//   while (list.incr_idx())
//       use(list.curr_cpt());
//
// Ownership: the list owns its element records (each allocated on insert, freed on erase);
// it does not own what a pointer element points to. "erase" frees the element record.
//
// Misuse (an index out of bounds, a current element asked for when there is none) is fatal
// through exitfn with exit code 1. set_idx, incr_idx, decr_idx, get_ptr and move never fail;
// they report by their results. The list does no locking.
#ifndef KX_FOUNDATION_KXLIST_H
#define KX_FOUNDATION_KXLIST_H

#include "kx/foundation/kxerror.h"

/// One element record: the value (stored by copy), then the next and previous links.
template <class T>
struct List_element {
    T data;
    List_element *next;
    List_element *prev;

    explicit List_element(const T &value) : data(value), next(nullptr), prev(nullptr) {}
};

template <class T>
class List {
public:
    List() = default;
    List(const List &other) { CopyFrom(other); }
    /// Takes over the elements and the current position; `other` is left empty.
    List(List &&other) noexcept
        : head_(other.head_), tail_(other.tail_), current_(other.current_),
          currIdx_(other.currIdx_), count_(other.count_)
    {
        other.head_ = other.tail_ = other.current_ = nullptr;
        other.currIdx_ = other.count_ = 0;
    }
    virtual ~List() { unalloc(); }

    /// Copies the values over the existing element records (reused, not reallocated), erases
    /// the surplus from the end or appends the rest. The current index becomes 0.
    List &operator=(const List &other);

    /// Appends at index size()+1. The current position is not changed.
    void append(const T &value) { LinkBefore(new List_element<T>(value), nullptr); }

    /// Inserts so that the new element has index i (1 <= i <= size()+1); it becomes current.
    void insert(int i, const T &value);
    /// Inserts before the current position (at the end when the current index is size()+1);
    /// the new element becomes current at the unchanged current index (1 on an empty list).
    void insert(const T &value);

    /// Frees the element at i; the element that followed becomes current at index i (null when
    /// i was the last).
    void erase(int i);
    /// Frees the current element, as erase(current index).
    void erase();

    /// Frees every element; size, current index and all links become zero.
    void unalloc();

    /// The element at 1-based i, which becomes current.
    T &operator[](int i);
    const T &operator[](int i) const;

    /// Makes i the current index; the element there becomes current when i is in 1..size(),
    /// otherwise there is no current element (not an error).
    void set_idx(int i);
    /// Move the current index by one (always); 1 when it then lies in 1..size() (its element
    /// becomes current), else 0 with no current element.
    int incr_idx();
    int decr_idx();

    /// The current element; fatal when there is none.
    T &curr_cpt();
    const T &curr_cpt() const;
    /// The last element; fatal on an empty list.
    T &last_cpt();
    const T &last_cpt() const;

    /// Relinks the element at `from` so that it ends at index `to`; it becomes current at
    /// `to`. False, with nothing changed, when either index is outside 1..size().
    bool move(int to, int from);

    /// Reverses the order in place; the current element stays current at size() - index + 1.
    void reverse();

    int size() const { return count_; }
    /// The current index (may lie outside 1..size()).
    int get_idx() const { return currIdx_; }

protected:
    /// The element record at i (which becomes current), or null when i is outside 1..size().
    List_element<T> *get_ptr(int i) const;

private:
    List_element<T> *Seek(int i) const;
    List_element<T> *Walk(int i) const;
    void LinkBefore(List_element<T> *e, List_element<T> *before);
    void Unlink(List_element<T> *e);
    void CopyFrom(const List &other);

    List_element<T> *head_ = nullptr;
    List_element<T> *tail_ = nullptr;
    // The current position is a cache for seeking; it changes on const lookups too.
    mutable List_element<T> *current_ = nullptr; // null exactly when currIdx_ is out of range
    mutable int currIdx_ = 0;
    int count_ = 0;
};

// ---------------------------------------------------------------------------------------------

template <class T>
List<T> &List<T>::operator=(const List &other)
{
    if (this == &other)
        return *this;
    current_ = nullptr;
    currIdx_ = 0;
    List_element<T> *dst = head_;
    const List_element<T> *src = other.head_;
    for (; dst && src; dst = dst->next, src = src->next)
        dst->data = src->data;
    while (count_ > other.count_) {
        List_element<T> *last = tail_;
        Unlink(last);
        delete last;
    }
    for (; src; src = src->next)
        append(src->data);
    return *this;
}

template <class T>
void List<T>::CopyFrom(const List &other)
{
    for (const List_element<T> *e = other.head_; e; e = e->next)
        append(e->data);
}

template <class T>
void List<T>::LinkBefore(List_element<T> *e, List_element<T> *before)
{
    e->next = before;
    e->prev = before ? before->prev : tail_;
    if (e->prev)
        e->prev->next = e;
    else
        head_ = e;
    if (before)
        before->prev = e;
    else
        tail_ = e;
    ++count_;
}

template <class T>
void List<T>::Unlink(List_element<T> *e)
{
    if (e->prev)
        e->prev->next = e->next;
    else
        head_ = e->next;
    if (e->next)
        e->next->prev = e->prev;
    else
        tail_ = e->prev;
    --count_;
}

// The element at i (1 <= i <= count_) reached from the nearer end, ignoring the current one.
template <class T>
List_element<T> *List<T>::Walk(int i) const
{
    List_element<T> *e;
    if (i - 1 <= count_ - i) {
        e = head_;
        for (int k = 1; k < i; ++k)
            e = e->next;
    } else {
        e = tail_;
        for (int k = count_; k > i; --k)
            e = e->prev;
    }
    return e;
}

// The element at i (1 <= i <= count_), reached from the nearest of current, head and tail
// (ties in that order); it becomes current. The current element is used when it is at least as
// near as both ends; otherwise the walk starts from the nearer end. Only the number of steps
// depends on the start: element i and the new current position are the same from any of them.
template <class T>
List_element<T> *List<T>::Seek(int i) const
{
    if (currIdx_ < 1) {
        current_ = head_;
        currIdx_ = 1;
    }
    const int d = currIdx_ > i ? currIdx_ - i : i - currIdx_;
    if (d > i - 1 || d > count_ - i || !current_) {
        current_ = Walk(i);
    } else if (currIdx_ < i) {
        for (int k = currIdx_; k < i; ++k)
            current_ = current_->next;
    } else {
        for (int k = currIdx_; k > i; --k)
            current_ = current_->prev;
    }
    currIdx_ = i;
    return current_;
}

template <class T>
List_element<T> *List<T>::get_ptr(int i) const
{
    if (i < 1 || i > count_)
        return nullptr;
    return Seek(i);
}

template <class T>
void List<T>::insert(int i, const T &value)
{
    if (i < 1 || i > count_ + 1)
        exitfn(1, "code error in List::insert - index %d out of bounds", i);
    List_element<T> *before = i <= count_ ? Seek(i) : nullptr;
    List_element<T> *e = new List_element<T>(value);
    LinkBefore(e, before);
    current_ = e;
    currIdx_ = i;
}

template <class T>
void List<T>::insert(const T &value)
{
    if (count_ == 0) {
        insert(1, value);
        return;
    }
    if (currIdx_ < 1 || currIdx_ > count_ + 1)
        exitfn(1, "error in List::insert: index %d out of bounds", currIdx_);
    List_element<T> *e = new List_element<T>(value);
    LinkBefore(e, current_); // current_ is null at count_ + 1: append
    current_ = e;
}

template <class T>
void List<T>::erase(int i)
{
    if (i < 1 || i > count_)
        exitfn(1, "error in List::erase: index %d out of bounds", i);
    List_element<T> *e = Seek(i);
    List_element<T> *following = e->next;
    Unlink(e);
    delete e;
    current_ = following;
    currIdx_ = i;
}

template <class T>
void List<T>::erase()
{
    if (!current_)
        exitfn("error in List::erase(void): index out of bounds", 1);
    erase(currIdx_);
}

template <class T>
void List<T>::unalloc()
{
    for (List_element<T> *e = head_; e;) {
        List_element<T> *next = e->next;
        delete e;
        e = next;
    }
    head_ = tail_ = nullptr;
    current_ = nullptr;
    currIdx_ = 0;
    count_ = 0;
}

template <class T>
inline T &List<T>::operator[](int i)
{
    // Fast paths for repeated and increasing indices; they reach the same element as Seek.
    if (current_) {
        if (i == currIdx_)
            return current_->data;
        if (i == currIdx_ + 1 && current_->next) {
            current_ = current_->next;
            currIdx_ = i;
            return current_->data;
        }
    }
    if (i < 1 || i > count_)
        exitfn(1, "code error in List::operator[] - index %d out of bounds", i);
    return Seek(i)->data;
}

template <class T>
inline const T &List<T>::operator[](int i) const
{
    return const_cast<List *>(this)->operator[](i);
}

template <class T>
inline void List<T>::set_idx(int i)
{
    if (i < 1 || i > count_) {
        current_ = nullptr;
        currIdx_ = i;
        return;
    }
    Seek(i);
}

template <class T>
inline int List<T>::incr_idx()
{
    List_element<T> *next = current_ ? current_->next : nullptr;
    ++currIdx_;
    if (currIdx_ < 1 || currIdx_ > count_) {
        current_ = nullptr;
        return 0;
    }
    // Coming from outside the range, the only way in is index 1.
    current_ = next ? next : head_;
    return 1;
}

template <class T>
inline int List<T>::decr_idx()
{
    List_element<T> *prev = current_ ? current_->prev : nullptr;
    --currIdx_;
    if (currIdx_ < 1 || currIdx_ > count_) {
        current_ = nullptr;
        return 0;
    }
    // Coming from outside the range, the only way in is index count_.
    current_ = prev ? prev : tail_;
    return 1;
}

template <class T>
inline T &List<T>::curr_cpt()
{
    if (!current_)
        exitfn("error in const List<T>::curr_cpt: must call List<T>::set_idx first", 1);
    return current_->data;
}

template <class T>
inline const T &List<T>::curr_cpt() const
{
    return const_cast<List *>(this)->curr_cpt();
}

template <class T>
inline T &List<T>::last_cpt()
{
    if (!tail_)
        exitfn("error in const List<T>::last_cpt: list empty", 1);
    return tail_->data;
}

template <class T>
inline const T &List<T>::last_cpt() const
{
    return const_cast<List *>(this)->last_cpt();
}

template <class T>
bool List<T>::move(int to, int from)
{
    if (to < 1 || to > count_ || from < 1 || from > count_)
        return false;
    List_element<T> *e = Seek(from);
    if (to != from) {
        Unlink(e);
        LinkBefore(e, to <= count_ ? Walk(to) : nullptr);
    }
    current_ = e;
    currIdx_ = to;
    return true;
}

template <class T>
void List<T>::reverse()
{
    if (count_ == 0)
        return;
    for (List_element<T> *e = head_; e; e = e->prev) {
        List_element<T> *next = e->next;
        e->next = e->prev;
        e->prev = next;
    }
    List_element<T> *oldHead = head_;
    head_ = tail_;
    tail_ = oldHead;
    currIdx_ = count_ - currIdx_ + 1;
}

#endif

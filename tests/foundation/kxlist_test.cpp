#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"

#include "kxfatal_test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <random>
#include <string>
#include <utility>
#include <vector>

// Every member of the instances the library uses must compile.
template class List<int>;
template class List<double>;
template class List<bool>;
template class List<float>;
template class List<KXString>;
template class List<std::complex<double>>;
template class List<const char *>;

namespace {

// Exposes the protected element lookup.
template <class T>
class ProbeList : public List<T> {
public:
    using List<T>::get_ptr;
};

// "values @index current": the observable state of a list of letters. Reading the values
// walks the list, so the current index is put back afterwards.
std::string State(List<std::string> &list)
{
    std::string out;
    const int saved = list.get_idx();
    list.set_idx(0);
    while (list.incr_idx())
        out += list.curr_cpt();
    list.set_idx(saved);
    out += " @" + std::to_string(saved);
    if (saved >= 1 && saved <= list.size())
        out += " " + list.curr_cpt();
    return out;
}

List<std::string> Letters(const char *letters)
{
    List<std::string> list;
    for (const char *p = letters; *p; ++p)
        list.append(std::string(1, *p));
    return list;
}

} // namespace

TEST(ListTest, IndexingAndWalking)
{
    List<int> list;
    for (int i = 1; i <= 10; ++i)
        list.append(i * 10);
    EXPECT_EQ(list.size(), 10);
    EXPECT_EQ(list.get_idx(), 0); // append leaves the current position alone
    for (int i : {7, 1, 10, 5, 6, 2, 9, 9, 3})
        EXPECT_EQ(list[i], i * 10);
    EXPECT_EQ(list.get_idx(), 3);
    list[4] = 44;
    EXPECT_EQ(list.curr_cpt(), 44);

    // Walking back in from one past the end, and out-of-range indices that still move.
    list.set_idx(11);
    std::vector<int> back;
    while (list.decr_idx())
        back.push_back(list.curr_cpt());
    EXPECT_EQ(back, (std::vector<int>{100, 90, 80, 70, 60, 50, 44, 30, 20, 10}));
    EXPECT_EQ(list.get_idx(), 0);
    list.set_idx(-3);
    EXPECT_EQ(list.incr_idx(), 0);
    EXPECT_EQ(list.get_idx(), -2);
    list.set_idx(25);
    EXPECT_EQ(list.decr_idx(), 0);
    EXPECT_EQ(list.get_idx(), 24);
    EXPECT_EQ(list.last_cpt(), 100);

    const List<int> &view = list;
    EXPECT_EQ(view[2], 20);
    EXPECT_EQ(view.curr_cpt(), 20);

    ProbeList<int> probe;
    probe.append(5);
    EXPECT_EQ(probe.get_ptr(0), nullptr);
    EXPECT_EQ(probe.get_ptr(2), nullptr);
    ASSERT_NE(probe.get_ptr(1), nullptr);
    EXPECT_EQ(probe.get_ptr(1)->data, 5);
}

TEST(ListTest, CurrentPositionAfterInsertAndErase)
{
    List<std::string> list;
    list.insert(std::string("x")); // at the current position of an empty list
    EXPECT_EQ(State(list), "x @1 x");
    list.insert(2, "z"); // count + 1 appends
    EXPECT_EQ(State(list), "xz @2 z");
    list.insert(2, "y");
    EXPECT_EQ(State(list), "xyz @2 y");
    list.set_idx(1);
    list.insert(std::string("w")); // before the current element, index unchanged
    EXPECT_EQ(State(list), "wxyz @1 w");
    list.set_idx(5); // count + 1: at the end
    list.insert(std::string("!"));
    EXPECT_EQ(State(list), "wxyz! @5 !");

    list = Letters("abcde");
    list.erase(1);
    EXPECT_EQ(State(list), "bcde @1 b");
    list.erase(2);
    EXPECT_EQ(State(list), "bde @2 d");
    list.erase(3); // the last: one past the end, nothing current
    EXPECT_EQ(State(list), "bd @3");
    EXPECT_EQ(list.incr_idx(), 0);
    list.set_idx(2);
    list.erase();
    EXPECT_EQ(State(list), "b @2");
    list.erase(1);
    EXPECT_EQ(State(list), " @1");

    list = Letters("abc");
    list.unalloc();
    EXPECT_EQ(State(list), " @0");
    list.append("q");
    EXPECT_EQ(list[1], "q");
}

TEST(ListTest, MoveAndReverse)
{
    List<std::string> list = Letters("abcd");
    EXPECT_TRUE(list.move(3, 1));
    EXPECT_EQ(State(list), "bcad @3 a");
    list = Letters("abcd");
    EXPECT_TRUE(list.move(1, 3));
    EXPECT_EQ(State(list), "cabd @1 c");
    EXPECT_TRUE(list.move(4, 1));
    EXPECT_EQ(State(list), "abdc @4 c");
    EXPECT_TRUE(list.move(2, 2));
    EXPECT_EQ(State(list), "abdc @2 b");
    EXPECT_FALSE(list.move(0, 1));
    EXPECT_FALSE(list.move(1, 5));
    EXPECT_EQ(State(list), "abdc @2 b");

    list = Letters("abc");
    list.set_idx(1);
    list.reverse();
    EXPECT_EQ(State(list), "cba @3 a");
    EXPECT_EQ(list.last_cpt(), "a");
    EXPECT_EQ(list[1], "c");
    list.set_idx(0);
    list.reverse(); // out of range stays out of range
    EXPECT_EQ(State(list), "abc @4");
    EXPECT_EQ(list.decr_idx(), 1);
    EXPECT_EQ(list.curr_cpt(), "c");

    List<std::string> empty;
    empty.reverse();
    EXPECT_EQ(State(empty), " @0");
}

TEST(ListTest, AssignmentReusesRecordsAndResetsCurrent)
{
    ProbeList<int> longer, shorter;
    for (int i = 1; i <= 5; ++i)
        longer.append(i);
    shorter.append(10);
    shorter.append(20);
    List_element<int> *firstRecord = shorter.get_ptr(1);
    shorter = longer;
    EXPECT_EQ(shorter.size(), 5);
    EXPECT_EQ(shorter.get_idx(), 0);
    EXPECT_EQ(shorter.get_ptr(1), firstRecord);
    EXPECT_EQ(shorter[5], 5);
    EXPECT_EQ(shorter.get_ptr(5)->next, nullptr);

    ProbeList<int> two;
    two.append(7);
    two.append(8);
    longer[3];
    longer = two;
    EXPECT_EQ(longer.size(), 2);
    EXPECT_EQ(longer.get_idx(), 0);
    EXPECT_EQ(longer.last_cpt(), 8);
    EXPECT_EQ(longer[1], 7);
    ProbeList<int> &alias = longer;
    longer = alias; // self-assignment changes nothing
    EXPECT_EQ(longer.get_idx(), 1);

    List<int> copy(two);
    two[1] = 99;
    EXPECT_EQ(copy[1], 7);
    EXPECT_EQ(copy.size(), 2);
    List<int> moved(std::move(copy));
    EXPECT_EQ(moved.size(), 2);
    EXPECT_EQ(moved.get_idx(), 1);
    EXPECT_EQ(moved.last_cpt(), 8);
    EXPECT_EQ(copy.size(), 0);
    copy.append(1); // a moved-from list is an empty, usable list
    EXPECT_EQ(copy[1], 1);
}

// Random operations checked against a vector and a model of the current index.
TEST(ListTest, AgreesWithModelUnderRandomOperations)
{
    std::mt19937 rng(12345);
    List<int> list;
    std::vector<int> model;
    int idx = 0;
    int next = 0;
    auto check = [&]() {
        ASSERT_EQ(list.size(), static_cast<int>(model.size()));
        ASSERT_EQ(list.get_idx(), idx);
        if (idx >= 1 && idx <= list.size()) {
            ASSERT_EQ(list.curr_cpt(), model[idx - 1]);
        }
    };
    for (int step = 0; step < 20000; ++step) {
        const int n = static_cast<int>(model.size());
        const int op = static_cast<int>(rng() % 9);
        const int i = n > 0 ? static_cast<int>(rng() % n) + 1 : 0;
        if (op == 0 || n == 0) {
            const int at = static_cast<int>(rng() % (n + 1)) + 1;
            list.insert(at, next);
            model.insert(model.begin() + at - 1, next++);
            idx = at;
        } else if (op == 1 && n < 60) {
            list.append(next);
            model.push_back(next++);
        } else if (op == 2 && idx >= 1 && idx <= n + 1) {
            list.insert(next);
            model.insert(model.begin() + idx - 1, next++);
        } else if (op == 3 && n > 30) {
            list.erase(i);
            model.erase(model.begin() + i - 1);
            idx = i;
        } else if (op == 4) {
            idx = static_cast<int>(rng() % (n + 4)) - 2;
            list.set_idx(idx);
        } else if (op == 5) {
            const int expected = (idx + 1 >= 1 && idx + 1 <= n) ? 1 : 0;
            ASSERT_EQ(list.incr_idx(), expected);
            ++idx;
        } else if (op == 6) {
            const int expected = (idx - 1 >= 1 && idx - 1 <= n) ? 1 : 0;
            ASSERT_EQ(list.decr_idx(), expected);
            --idx;
        } else if (op == 7) {
            const int to = static_cast<int>(rng() % n) + 1;
            ASSERT_TRUE(list.move(to, i));
            const int value = model[i - 1];
            model.erase(model.begin() + i - 1);
            model.insert(model.begin() + to - 1, value);
            idx = to;
        } else {
            if (rng() % 8 == 0) {
                list.reverse();
                std::reverse(model.begin(), model.end());
                idx = n - idx + 1;
            } else {
                ASSERT_EQ(list[i], model[i - 1]);
                idx = i;
            }
        }
        check();
    }
}

TEST(ListDeathTest, MisuseIsFatalWithTheIndex)
{
    List<int> list;
    list.append(1);
    list.append(2);
    EXPECT_KX_FATAL(list[0], "code error in List::operator[] - index 0 out of bounds");
    EXPECT_KX_FATAL(list[3], "code error in List::operator[] - index 3 out of bounds");
    EXPECT_KX_FATAL(list.insert(4, 9), "code error in List::insert - index 4 out of bounds");
    EXPECT_KX_FATAL(list.insert(0, 9), "code error in List::insert - index 0 out of bounds");
    EXPECT_KX_FATAL((list.set_idx(5), list.insert(9)),
                    "error in List::insert: index 5 out of bounds");
    EXPECT_KX_FATAL((list.set_idx(0), list.insert(9)),
                    "error in List::insert: index 0 out of bounds");
    EXPECT_KX_FATAL(list.erase(3), "error in List::erase: index 3 out of bounds");
    EXPECT_KX_FATAL((list.set_idx(0), list.erase()),
                    "error in List::erase(void): index out of bounds");
    EXPECT_KX_FATAL((list.set_idx(3), list.curr_cpt()),
                    "error in const List<T>::curr_cpt: must call List<T>::set_idx first");
    List<int> empty;
    EXPECT_KX_FATAL(empty.last_cpt(), "error in const List<T>::last_cpt: list empty");
    EXPECT_KX_FATAL(empty[1], "code error in List::operator[] - index 1 out of bounds");
}

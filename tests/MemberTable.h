#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The members of a class as a table, so that copies, assignments, swaps and resets are checked for
/// every one of them.
///
///     MemberTable<Camera> members;
///     members.add("near", [](Camera& c, int i) { c.setNear(1.5F * i); }, &Camera::nearPlane);
///     members.add("name", [](Camera& c, int i) { c.setName(std::string(i, 'n')); }, &Camera::name);
///     members.checkCopies();
///     members.checkAssignments();
///     members.checkReset([](Camera& c) { c.reset(); });
///
/// The first function gives the member its value number 1 or 2, the second reads it: a member, a
/// member function or a lambda, of anything that GoogleTest prints. The values 1 and 2 must differ
/// from each other and from that of a new object, which is checked.
///
/// Objects are made by `new T` and `new T(other)` and released by `Release`; shared objects are
/// released by `unref`:
///
///     struct Unref { void operator()(Sound* sound) const { sound->unref(); } };
///     MemberTable<Sound, Unref> members;
template <typename T, typename Release = std::default_delete<T>>
class MemberTable {
public:
    using Owned = std::unique_ptr<T, Release>;

    template <typename Set, typename Get>
    void add(const std::string& name, Set set, Get get) {
        fRows.push_back(
            {name, set, [get](const T& object) { return testing::PrintToString(std::invoke(get, object)); }});
    }

    /// A new object whose members all have value number `value`; 0: those it starts with.
    Owned make(int value) const {
        Owned object(new T);
        set(*object, value);
        return object;
    }

    void set(T& object, int value) const {
        for (const Row& row : fRows) {
            if (value != 0) {
                row.set(object, value);
            }
        }
    }

    /// "name = value", a line for each member.
    std::string text(const T& object) const {
        std::string result;
        for (const Row& row : fRows) {
            result += row.name + " = " + row.get(object) + "\n";
        }
        return result;
    }

    /// A copy has every member of its source. With `ownsAll`, it also keeps them when the source
    /// changes; not so where both share what they hold.
    void checkCopies(bool ownsAll = true) const {
        checkRows();
        const Owned source = make(1);
        const Owned copy(new T(*source));
        EXPECT_EQ(text(*copy), text(*make(1)));
        EXPECT_EQ(text(*source), text(*make(1))) << "the source of a copy";
        if (ownsAll) {
            set(*source, 2);
            EXPECT_EQ(text(*copy), text(*make(1))) << "after a change of the source";
        }
    }

    /// The same for assignment, to an object of any state and to itself.
    void checkAssignments(bool ownsAll = true) const {
        checkRows();
        for (const int from : {0, 1}) {
            for (const int to : {0, 1, 2}) {
                const Owned source = make(from);
                const Owned target = make(to);
                *target = std::as_const(*source);
                EXPECT_EQ(text(*target), text(*make(from))) << to << " becomes " << from;
                EXPECT_EQ(text(*source), text(*make(from))) << "the source of an assignment";
                if (ownsAll) {
                    set(*source, 2);
                    EXPECT_EQ(text(*target), text(*make(from))) << "after a change of the source";
                }
            }
            const Owned object = make(from);
            const T& self = *object;
            *object = self;
            EXPECT_EQ(text(*object), text(*make(from))) << "assigned to itself";
        }
    }

    /// `swap(a, b)` exchanges every member.
    template <typename Swap>
    void checkSwap(Swap swap) const {
        checkRows();
        const Owned a = make(1);
        const Owned b = make(2);
        swap(*a, *b);
        EXPECT_EQ(text(*a), text(*make(2)));
        EXPECT_EQ(text(*b), text(*make(1)));
    }

    /// `reset(object)` gives every member what a new object has.
    template <typename Reset>
    void checkReset(Reset reset) const {
        checkRows();
        const Owned object = make(1);
        reset(*object);
        EXPECT_EQ(text(*object), text(*make(0)));
    }

private:
    struct Row {
        std::string name;
        std::function<void(T&, int)> set;
        std::function<std::string(const T&)> get;
    };

    /// The three values of each member differ: else its row would find nothing.
    void checkRows() const {
        for (const Row& row : fRows) {
            const Owned objects[] = {make(0), make(1), make(2)};
            for (int i = 0; i < 3; ++i) {
                EXPECT_NE(row.get(*objects[i]), row.get(*objects[(i + 1) % 3])) << row.name;
            }
        }
    }

    std::vector<Row> fRows;
};

// kxlineshapeintersections.cpp - interval sets along a line and their algebra.
#include "kx/geometry/kxlineshapeintersections.h"

#include <algorithm>
#include <cmath>

namespace {

/// A boundary event of the sweep: where, which operand, and whether an interval opens (+1)
/// or closes (-1) there.
struct Event {
    double t;
    int operand;
    int delta;
};

/// Adds the intervals of a boundary array (taken in pairs; an unpaired last boundary and
/// intervals with NaN are skipped) as sweep events.
void AddEvents(std::vector<Event> &events, const std::vector<double> &bounds, int operand)
{
    for (size_t i = 0; i + 1 < bounds.size(); i += 2) {
        const double lo = std::min(bounds[i], bounds[i + 1]);
        const double hi = std::max(bounds[i], bounds[i + 1]);
        if (std::isnan(lo) || std::isnan(hi))
            continue;
        events.push_back({lo, operand, +1});
        events.push_back({hi, operand, -1});
    }
}

} // namespace

kxLineShapeIntersections::kxLineShapeIntersections(List<double> *target)
    : bounds_(&own_), list_(target)
{
    if (!list_)
        return;
    for (int i = 1; i <= list_->size(); ++i)
        own_.push_back((*list_)[i]);
}

kxLineShapeIntersections &kxLineShapeIntersections::operator=(const kxLineShapeIntersections &other)
{
    if (this != &other) {
        *bounds_ = *other.bounds_;
        mode_ = other.mode_;
        MirrorToList();
    }
    return *this;
}

void kxLineShapeIntersections::Clear()
{
    bounds_->clear();
    if (list_)
        list_->unalloc();
}

void kxLineShapeIntersections::Append(double t)
{
    bounds_->push_back(t);
    if (list_)
        list_->append(t);
}

void kxLineShapeIntersections::Append(double t1, double t2)
{
    Append(std::min(t1, t2));
    Append(std::max(t1, t2));
}

void kxLineShapeIntersections::MirrorToList()
{
    if (!list_)
        return;
    list_->unalloc();
    for (double t : *bounds_)
        list_->append(t);
}

void kxLineShapeIntersections::Add(double t1, double t2) { Combine(Op::Union, {t1, t2}, 0.0); }
void kxLineShapeIntersections::Remove(double t1, double t2)
{
    Combine(Op::Difference, {t1, t2}, 0.0);
}
void kxLineShapeIntersections::Toggle(double t1, double t2, double tol)
{
    Combine(Op::Xor, {t1, t2}, tol);
}
void kxLineShapeIntersections::Add(const kxLineShapeIntersections &other)
{
    Combine(Op::Union, *other.bounds_, 0.0);
}

void kxLineShapeIntersections::Intersect(const kxLineShapeIntersections &other)
{
    Combine(Op::Intersection, *other.bounds_, 0.0);
}

void kxLineShapeIntersections::Intersect(double t1, double t2)
{
    Combine(Op::Intersection, {t1, t2}, 0.0);
}

int kxLineShapeIntersections::DoLineShapeIntersect(double t1, double t2)
{
    switch (mode_) {
    case kxAddMode: Add(t1, t2); break;
    case kxRemoveMode: Remove(t1, t2); break;
    case kxToggleMode: Toggle(t1, t2); break;
    case kxIntersectMode: Intersect(t1, t2); break;
    }
    return GetNumIntersections();
}

bool kxLineShapeIntersections::GetIntersection(int i, double &t1, double &t2) const
{
    if (i < 0 || i >= GetNumIntersections())
        return false;
    t1 = (*bounds_)[2 * i];
    t2 = (*bounds_)[2 * i + 1];
    return true;
}

void kxLineShapeIntersections::Combine(Op op, const std::vector<double> &other, double tol)
{
    std::vector<Event> events;
    events.reserve(bounds_->size() + other.size());
    AddEvents(events, *bounds_, 0);
    AddEvents(events, other, 1);
    std::sort(events.begin(), events.end(),
              [](const Event &x, const Event &y) { return x.t < y.t; });

    auto inside = [op](bool inA, bool inB) {
        switch (op) {
        case Op::Union: return inA || inB;
        case Op::Difference: return inA && !inB;
        case Op::Xor: return inA != inB;
        case Op::Intersection: return inA && inB;
        }
        return false;
    };

    // Sweep: events closer than tol to the first of their group act together, so that a
    // boundary closing one interval and one opening the next at the same place cancel.
    std::vector<double> result;
    int count[2] = {0, 0};
    bool state = false;
    for (size_t i = 0; i < events.size();) {
        const double at = events[i].t;
        for (; i < events.size() && (events[i].t == at || events[i].t - at < tol); ++i)
            count[events[i].operand] += events[i].delta;
        const bool now = inside(count[0] > 0, count[1] > 0);
        if (now != state)
            result.push_back(at);
        state = now;
    }
    *bounds_ = std::move(result);
    MirrorToList();
}

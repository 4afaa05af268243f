#include "rescue/loss.h"

#include <algorithm>
#include <tuple>

namespace vexlo {

namespace {

auto order_of(const Loss &loss) {
    return std::tuple(loss.tablespace, loss.relative_file, loss.file, loss.block, loss.kind);
}

// Whether `next`, which does not lie before `loss`, goes on where it ends or inside it.
bool touches(const Loss &loss, const Loss &next) {
    return loss.kind == next.kind && loss.tablespace == next.tablespace && loss.file == next.file &&
           loss.relative_file == next.relative_file && next.block <= loss.block + loss.blocks;
}

} // namespace

std::string_view loss_text(LossKind kind) {
    constexpr std::string_view TEXTS[] = {"check value", "tail", "address", "unreadable", "missing file"};
    return TEXTS[static_cast<size_t>(kind)];
}

LossKind loss_of(Health bad) {
    switch (bad) {
    case Health::check_value:
        return LossKind::check_value;
    case Health::tail:
        return LossKind::tail;
    case Health::address:
        return LossKind::address;
    default:
        return LossKind::unreadable;
    }
}

BlockCounts &BlockCounts::operator+=(const BlockCounts &other) {
    data += other.data;
    unformatted += other.unformatted;
    foreign += other.foreign;
    older += other.older;
    space += other.space;
    compressed += other.compressed;
    encrypted += other.encrypted;
    return *this;
}

void SegmentTally::add_loss(const Loss &loss) {
    if (!losses.empty() && losses.back().block + losses.back().blocks == loss.block &&
        touches(losses.back(), loss))
        losses.back().blocks += loss.blocks;
    else
        losses.push_back(loss);
}

void SegmentTally::add(const SegmentTally &other) {
    counts += other.counts;
    losses.insert(losses.end(), other.losses.begin(), other.losses.end());
}

void SegmentTally::coalesce() {
    std::sort(losses.begin(), losses.end(),
              [](const Loss &a, const Loss &b) { return order_of(a) < order_of(b); });
    size_t kept = 0;
    for (size_t i = 0; i < losses.size(); ++i) {
        if (kept > 0 && touches(losses[kept - 1], losses[i])) {
            Loss &last = losses[kept - 1];
            last.blocks = std::max(last.blocks, losses[i].block + losses[i].blocks - last.block);
        } else {
            losses[kept++] = losses[i];
        }
    }
    losses.resize(kept);
}

} // namespace vexlo

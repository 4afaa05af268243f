#include "rescue/file_places.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "format/extent_map.h"
#include "rescue/block_health.h"

namespace vexlo {

namespace {

// Files and places of one relative number that have not come together.
struct Unmatched {
    std::vector<Datafile *> files;
    std::vector<const ExpectedFile *> places;

    void match(Datafile &file, const ExpectedFile &place) {
        file.set_place(place.file, place.tablespace);
        std::erase(files, &file);
    }
};

std::map<uint32_t, Unmatched> unmatched(std::span<const std::unique_ptr<Datafile>> inputs,
                                        std::span<const ExpectedFile> expected) {
    std::map<uint32_t, Unmatched> numbers;
    std::set<std::pair<uint32_t, uint32_t>> held; // by tablespace and relative number
    for (const auto &file : inputs) {
        const FileIdentity &identity = file->identity();
        if (file->status() == FileStatus::damaged_header)
            numbers[identity.relative_file].files.push_back(file.get());
        else if (file->status() == FileStatus::used && identity.tablespace)
            held.emplace(*identity.tablespace, identity.relative_file);
    }
    for (const ExpectedFile &place : expected)
        if (const auto it = numbers.find(place.relative_file);
            it != numbers.end() && !held.contains({place.tablespace, place.relative_file}))
            it->second.places.push_back(&place);
    return numbers;
}

// How many of the segment headers that belong to a place stand in the file.
size_t count_witnesses(const Datafile &file, const ExpectedFile &place) {
    std::vector<uint8_t> bytes(file.block_size());
    size_t count = 0;
    for (const ExpectedFile::Witness &witness : place.witnesses) {
        const uint32_t rdba = file.rdba(witness.block);
        EXTENT_MAP map;
        if (file.read(witness.block, 1, bytes.data()).blocks == 1 &&
            block_health(bytes.data(), file.block_size(), rdba, false) == Health::sound &&
            locate_extent_map({bytes.data(), file.block_size(), rdba}, &map) &&
            extent_map_object(map) == witness.data_object)
            ++count;
    }
    return count;
}

// The place that more segment headers speak for than for any other; null when there is none.
const ExpectedFile *witnessed_place(const Datafile &file, std::span<const ExpectedFile *const> places) {
    const ExpectedFile *best = nullptr;
    size_t most = 0;
    for (const ExpectedFile *place : places) {
        const size_t count = count_witnesses(file, *place);
        if (count == 0 || count < most)
            continue;
        best = count > most ? place : nullptr;
        most = count;
    }
    return best;
}

// Gives each file the place that `choose` finds for it: copies of one file the same.
template <class CHOOSE>
void match_files(Unmatched &number, CHOOSE &&choose) {
    const std::vector<Datafile *> files = number.files;
    std::set<const ExpectedFile *> taken;
    for (Datafile *file : files)
        if (const ExpectedFile *place = choose(*file)) {
            number.match(*file, *place);
            taken.insert(place);
        }
    std::erase_if(number.places, [&](const ExpectedFile *place) { return taken.contains(place); });
}

// The place that a damaged header states; null when there is no such place.
const ExpectedFile *hinted_place(const Datafile &file, std::span<const ExpectedFile *const> places) {
    const auto it = std::ranges::find_if(places, [&](const ExpectedFile *place) {
        return file.identity().file == place->file && file.identity().tablespace == place->tablespace;
    });
    return it == places.end() ? nullptr : *it;
}

void match_number(Unmatched &number) {
    match_files(number, [&](const Datafile &file) { return hinted_place(file, number.places); });
    const auto is_plain = [&] {
        return number.places.size() == 1 &&
               (number.files.size() == 1 || !number.files.front()->identity().bigfile);
    };
    if (number.files.empty())
        return;
    if (!is_plain())
        match_files(number, [&](const Datafile &file) { return witnessed_place(file, number.places); });
    if (!number.files.empty() && is_plain())
        match_files(number, [&](const Datafile &) { return number.places.front(); });
}

} // namespace

void place_damaged_files(std::span<const std::unique_ptr<Datafile>> inputs,
                         std::span<const ExpectedFile> expected) {
    for (auto &[relative_file, number] : unmatched(inputs, expected))
        match_number(number);
}

} // namespace vexlo

#pragma once

#include <span>
#include <string>
#include <string_view>

#include "prove/dice.h"

namespace orrery::prove {

// Each of these gives one hostile answer, or one of each of its kinds, to what has to cope with it.

/// The text of an instance with a hostile value for each property.
std::wstring ObjectText(Dice& dice, std::span<const std::wstring_view> properties);

/// The text of an instance, and what is written of it.
void FeedObjectText(Dice& dice);
/// Names, numbers, dates and time zones, to plain functions that need no Windows.
void FeedWords(Dice& dice);
/// Whole instances, their dates, and the report that is written of them.
void FeedInstances(Dice& dice);
/// Identifications of drives, device answers, tokens and windows.
void FeedDevices(Dice& dice);
/// Adapters, addresses, connections and lists of wireless networks.
void FeedNetwork(Dice& dice);
/// Registry values of the wrong type, size and content.
void FeedRegistry(Dice& dice);
/// Everything at once: a whole machine gone wrong, collected by orrery.dll.
void FeedMachine(Dice& dice);

}  // namespace orrery::prove

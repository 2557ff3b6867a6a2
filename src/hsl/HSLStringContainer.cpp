#include "hsl/HSLStringContainer.h"

HSLStringContainer::~HSLStringContainer() = default;
HSLStringContainer::HSLStringContainer() = default;
HSLStringContainer::HSLStringContainer(const HSLStringContainer& other) = default;
HSLStringContainer::HSLStringContainer(HSLStringContainer&& other) noexcept = default;
HSLStringContainer& HSLStringContainer::operator=(const HSLStringContainer& other) = default;
HSLStringContainer& HSLStringContainer::operator=(HSLStringContainer&& other) noexcept = default;

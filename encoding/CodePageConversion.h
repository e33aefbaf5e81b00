// Internal: conversion between a code page and UTF-16, the step that every COsEncoding operation runs twice,
// once to measure and once to write.
#pragma once

#include <cstddef>

#include "core/Types.h"

namespace encoding {

// Decodes `length` bytes of page `codePage` and a terminator into `target` (nullptr: only counts), which holds
// `capacity` units, the size a counting call gave. Gives the units the text needs, terminator included, or 0
// when the page is not available on this host.
size_t DecodeCodePage(unsigned codePage, const char* text, size_t length, wchar16* target, size_t capacity);

// Encodes `length` UTF-16 units and a terminator into page `codePage`, with the same rules; a character the
// page lacks becomes the page's default character.
size_t EncodeCodePage(unsigned codePage, const wchar16* text, size_t length, char* target, size_t capacity);

}  // namespace encoding

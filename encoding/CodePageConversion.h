// Internal: conversion between a code page and UTF-16, the step that every COsEncoding operation runs twice,
// once to measure and once to write.
#pragma once

#include <cstddef>

#include "core/Types.h"

namespace encoding {

// Converts `length` units of `text` and a terminator into `target` (nullptr: only counts), which holds
// `capacity` units, the size a counting call gave: bytes of page `codePage` into UTF-16, or UTF-16 into page
// `codePage`, where a character the page lacks becomes the page's default character. Gives the units the
// text needs, terminator included, or 0 when the page is not available on this host.
size_t ConvertCodePage(unsigned codePage, const char* text, size_t length, wchar16* target, size_t capacity);
size_t ConvertCodePage(unsigned codePage, const wchar16* text, size_t length, char* target, size_t capacity);

}  // namespace encoding

#pragma once

/// Marks what libVexaIo exports. Everything else is built with hidden visibility. Public polymorphic classes
/// and exceptions carry the mark as a whole, so that their type information is shared with the application. So do
/// types and enumerations that are arguments of exported templates, also where they are only declared: a template
/// is hidden as soon as one of its arguments is.
#define VEXA_API __attribute__((visibility("default")))

/// Marks a function that formats like printf: \p text and \p first are argument numbers, `this` is 1.
#define VEXA_PRINTF_LIKE(text, first) __attribute__((__format__(__printf__, text, first)))

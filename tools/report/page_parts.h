#pragma once

/// The page's style sheet and its program, as the files page.css and page.js hold them.
extern const char* const pageStyle;
extern const char* const pageProgram;

#ifndef NUV_MASK_KEYWORD_H
#define NUV_MASK_KEYWORD_H

#include <cstddef>

// Hides the middle of IP addresses in logged text.

// Masks an address: "1.2.3.4" becomes "1.**.**.4", and of an IPv6 address written in full the
// parts 3 to 6 become "****". The output has room for at least 46 bytes. 0, or 1 for a null
// pointer, for too little room and for text that is no such address; the output then is empty, if
// there is one.
int nuv_mask_keyword(const char* input, char* output, std::size_t output_size);

// The address that nuv_mask_text looks for, of at most 45 characters; process-wide. Any thread may
// call these.
void nuv_set_keyword(const char* address);
// A copy of the text in which each occurrence of the stored address is masked. It has room for 100
// bytes more than the text, and is cut where they do not suffice. 0, and the caller frees the
// result by std::free; or 1 for a null argument, for empty text, and for a stored text that is no
// address.
int nuv_mask_text(const char* text, char** result, std::size_t* length);

#endif  // NUV_MASK_KEYWORD_H

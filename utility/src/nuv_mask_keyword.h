#ifndef NUV_MASK_KEYWORD_H
#define NUV_MASK_KEYWORD_H

#include <cstddef>

// Hides the middle of IP addresses in logged text.

// Masks an address: "1.2.3.4" becomes "1.**.**.4". In an IPv6 address written in full, each of the
// parts 3 to 6 becomes "****". `output_size` must be at least 46 bytes. Returns 0; or 1, with empty
// output (if any), for a null pointer, for too little room, and for text that is not such an
// address.
int nuv_mask_keyword(const char* input, char* output, std::size_t output_size);

// Sets the address that nuv_mask_text masks, for the whole process. An address of more than 45
// characters and null clear it. Any thread may call these functions.
void nuv_set_keyword(const char* address);
// Copies the text and masks each occurrence of the stored address. The copy is cut if it would be
// more than 99 bytes longer than the text. Returns 0, and the caller frees *result by std::free; or
// 1 for a null argument, for empty text, if the stored text is not an address, or without memory.
int nuv_mask_text(const char* text, char** result, std::size_t* length);

#endif  // NUV_MASK_KEYWORD_H

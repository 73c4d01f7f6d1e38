// Debug dumps of response blocks. They never read outside the given length,
// whatever the bytes say. The plain forms print to standard error.
#pragma once

#include <cstdint>
#include <cstdio>

namespace cx {

// A set-responses request: a transfer block whose payload is a request code
// followed by a run of response blocks.
void display_set_response_request(const uint8_t* buffer, uint32_t length);
// A run of response blocks, back to back, numbered from 1.
void display_response_blocks(const uint8_t* buffer, uint32_t length);
// The payload of one response block.
void display_response_block(const uint8_t* payload, uint32_t length);

void display_set_response_request(FILE* out, const uint8_t* buffer, uint32_t length);
void display_response_blocks(FILE* out, const uint8_t* buffer, uint32_t length);
void display_response_block(FILE* out, const uint8_t* payload, uint32_t length);

}  // namespace cx

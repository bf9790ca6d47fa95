// The selectors of the host interface and the order of a run.
#pragma once

#include <cstdint>

struct FilterSession;
struct FilterRecord;

void validateParameters(FilterSession* session);
void doAbout(FilterSession* session);
void doParameters(FilterSession* session);
void doPrepare(FilterSession* session);
void doStart(FilterSession* session);
void doContinue(FilterSession* session);
void doFinish(FilterSession* session);

bool allocateRunBuffers(FilterSession* session);
void freeRunBuffers(FilterSession* session);
void endRun(FilterSession* session);
void initRunState(FilterSession* session);
void clearHostRects(FilterSession* session);
void runFilter(FilterSession* session);

// bufferSpace that Prepare asks for, for a filter rectangle of w x h.
int32_t preparedBufferSpace(int32_t width, int32_t height);

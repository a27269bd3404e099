// The topics of the table, each with fixtures of its own.
#pragma once

#include "bench/session.h"

void benchSample(const Effort& effort, Table& table);
void benchScan(const Effort& effort, Table& table);
void benchEvaluation(const Effort& effort, Table& table);
void benchLog(const Effort& effort, Table& table);
void benchHost(const Effort& effort, Table& table);
void benchLibrary(const Effort& effort, Table& table);
void benchLaunchEvent(const Effort& effort, Table& table);
void benchQuery(const Effort& effort, Table& table);

// SPDX-License-Identifier: BSD-2-Clause

// A library that calls a function of another library without being linked with it.

extern "C" int answer_a();

extern "C" __attribute__((visibility("default"))) int answerThroughA() { return answer_a(); }

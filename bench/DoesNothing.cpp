// SPDX-License-Identifier: BSD-2-Clause

// Does nothing. It is linked to different libraries.

int main() {}

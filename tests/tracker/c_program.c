/* The tracker from C, linked with nothing else: the first still samples. */
#include <stdlib.h>

#include "tracker/tracker.h"

int main(void) {
  static tracker_state state;
  const float accelerometer[3] = {0.0F, 0.0F, 1.0F}, gyroscope[3] = {0.0F, 0.0F, 0.0F};
  float output[7] = {0};
  int status = 0;
  init_tracker(&state, 100, 1);
  for (int i = 0; i < 10; ++i) {
    add_to_tracker_buffer(&state, accelerometer, gyroscope, NULL);
    status = run_tracker(&state, output);
  }
  return status == 3 && output[0] == 1.0F ? EXIT_SUCCESS : EXIT_FAILURE;
}

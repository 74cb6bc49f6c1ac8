/* The tracker from C, linked with nothing else: one still second. */
#include <stdlib.h>

#include "tracker/tracker.h"

int main(void) {
  const float accelerometer[3] = {0.0F, 0.0F, 1.0F};
  const float gyroscope[3] = {0.0F, 0.0F, 0.0F};
  float output[7] = {0};
  tracker_state* state = malloc(get_tracker_size());
  int status = 0;
  if (state == NULL) { return EXIT_FAILURE; }
  init_tracker(state, 100, 1);
  for (int i = 0; i < 100; ++i) {
    add_to_tracker_buffer(state, accelerometer, gyroscope, NULL);
    status = run_tracker(state, output);
  }
  free(state);
  return status == 3 && output[0] == 1.0F ? EXIT_SUCCESS : EXIT_FAILURE;
}

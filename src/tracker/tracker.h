/* Orientation tracker: quaternion extended Kalman filter from gyroscope, accelerometer and optional
 * magnetometer, and an optional position filter, sample by sample. Usable from C and C++, on its own.
 *
 * One flat record holds all state. The caller allocates get_tracker_size() bytes, calls init_tracker and owns
 * the block; the library allocates nothing, keeps no globals and no pointers, does no input or output and
 * throws nothing. Records are independent: one thread at a time each. No operation checks its arguments;
 * non-numbers put in come out.
 *
 * Everything is single precision. Quaternions are (w, x, y, z), Hamilton, and turn body-frame vectors into
 * the earth frame, whose z axis points up: at rest an accelerometer turned into the earth frame shows (0, 0,
 * 1) g. Matrices are row-major. Outputs must not alias inputs unless stated.
 *
 * The functions have no common prefix: a program with an external function of its own called predict or reduction, say,
 * does not link with the static library. Nothing else in it has a name that could collide. */
#ifndef TRACKER_TRACKER_H
#define TRACKER_TRACKER_H

#include <stdbool.h> /* NOLINT(modernize-deprecated-headers): shared with C */
#include <stddef.h>  /* NOLINT(modernize-deprecated-headers): shared with C */
#include <stdint.h>  /* NOLINT(modernize-deprecated-headers): shared with C */

#ifdef __cplusplus
extern "C" {
#endif

enum {
  TRACKER_BUFFER_CHANNELS = 10, /* accelerometer xyz, gyroscope xyz, magnetometer xyz, magnetometer present */
  TRACKER_BUFFER_SLOTS = 10,
  TRACKER_SENSOR_AXES = 9
};

/* Results of run_tracker. */
enum {
  TRACKER_NO_SAMPLE = 0, /* buffer empty, output untouched */
  TRACKER_RESET = 1,     /* a pending orientation reset was applied and the sample discarded */
  TRACKER_WAITING = 2,   /* still waiting for a motionless start, quaternion as it was */
  TRACKER_FILTERED = 3   /* sample filtered, or initialisation completed */
};

/* Intermediate quantities of the filters. Rewritten every sample; not meaningful between calls. Where their notes and
 * names say so: F transition, P error covariance, Q process noise, S innovation covariance, K gain. */
struct tracker_filter_work {
  float q_predicted[4];        /* q after prediction and the corrections so far */
  float q_previous[4];         /* q before prediction */
  float rates[3];              /* last angular rates, body frame, rad/s */
  float h[3];                  /* measurement of the last correction as predicted, body frame */
  float H[3][4];               /* derivative of h by w, x, y, z */
  float innovation[3];         /* measurement minus h */
  float P_predicted[4][4];     /* F P F^T + Q */
  float position_predicted[6]; /* position (m) and velocity (m/s) before a measurement */
  float F_pos[6][6];           /* transition of position_state */
  float P_pos_predicted[6][6];
  float S_pos_inverse[6][6];
  float K_pos[6][6];
};

typedef struct tracker_state { /* NOLINT(modernize-use-using): shared with C */
  /* Orientation */
  float q[4];      /* body to earth, w x y z; (1, 0, 0, 0) */
  float P[6][6];   /* error covariance of q in the upper-left 4 x 4, row stride 6; 0.0001 on its diagonal */
  float tuning[6]; /* not read by the library; 0, 0, 1, 0.006, 0.06, 0.3 */

  /* Sampling period */
  float half_dt; /* s; 0.5 / rate */
  float dt;      /* s; 1 / rate */

  /* Position */
  float position_state[6]; /* earth frame, x y z in m, then velocity x y z in m/s; 0 */

  /* Ring buffer counters */
  int32_t buffer_write_index; /* slot of the next add_to_tracker_buffer; 0 */
  int32_t buffer_free;        /* free slots; 10 */
  int32_t buffer_capacity;    /* slots; 10 */
  int32_t buffer_read_index;  /* slot of the next run_tracker; 0 */

  /* Stillness */
  int32_t moving;             /* 1 while judged moving, 0 while motionless; 0 */
  float motionless_thresh[3]; /* change of acceleration magnitude (g), deviation of that magnitude from 1 g
                                 (g), gyroscope magnitude (deg/s); 1.006, 0.06, 18 */

  /* Samples */
  float buffer[TRACKER_BUFFER_CHANNELS][TRACKER_BUFFER_SLOTS]; /* slot k of channel c; g, deg/s, mag units; 0 */
  float deg_per_rad;                                           /* 57.2957763671875 */
  float accel_norm;                                            /* magnitude of the last accelerometer sample, g; 0 */
  float linear_accel[3]; /* last acceleration, earth frame, 1 g removed from z, g; right after initialisation
                            the mean still acceleration, body frame; 0 */

  /* Position filter */
  float P_pos[6][6];         /* covariance of position_state; 0.1 on the diagonal with position enabled, else 0 */
  float initial_position[3]; /* given to reset_position, m; kept for the caller, not read; 0 */
  float initial_velocity[3]; /* given to reset_position, m/s; kept for the caller, not read; 0 */
  float position_work[6];    /* not read by the library; 0 */
  int32_t position_enabled;  /* 1 when the position filter runs; argument of init_tracker */

  /* Noise covariances */
  float Q[4][4];     /* process noise of q while motionless; 1e-5 on the diagonal */
  float R_acc[3][3]; /* accelerometer noise while motionless, g^2; 0.001 on the diagonal */
  float R_mag[6][6]; /* noise of the normalised magnetometer in the upper-left 3 x 3, row stride 6; 0.004 on
                        its diagonal */
  float R_pos[6][6]; /* noise of the position filter's reset measurement, m^2 and (m/s)^2; 0.001 on the
                        diagonal */

  /* Axis table, in the order accelerometer x y z, gyroscope x y z, magnetometer x y z; the caller may change
   * it */
  int32_t axis_map[TRACKER_SENSOR_AXES];  /* buffer channel an axis is read from; 0 to 8 */
  int32_t axis_sign[TRACKER_SENSOR_AXES]; /* factor of an axis; 1 */

  /* Progress */
  int32_t position_reset_pending;         /* set by reset_position, consumed by the position filter; 0 */
  int32_t initialised;                    /* 1 once the first quaternion is set; 0 */
  struct tracker_filter_work filter_work; /* 0 */

  /* Orientation reset */
  int32_t orientation_reset_pending; /* set by reset_orientation, consumed by run_tracker; 0 */
  float reset_quaternion[4];         /* given to reset_orientation, w x y z; 0 */

  /* Collection of still samples for the first quaternion */
  int32_t init_samples_required; /* consecutive still samples needed; 5 */
  int32_t still_count;           /* consecutive still samples so far; 0 */
  int32_t mag_init_count;        /* magnetometer samples summed; 0 */
  float accel_sum[3];            /* sum of the still accelerometer samples, body frame, g; 0 */
  float mag_sum[3];              /* sum of the magnetometer samples, body frame, mag units; 0 */
  float spare;                   /* not used; 0 */

  /* Magnetic disturbance; the unit of the field is whatever mag_norm_reference is given in */
  float mag_dip_tolerance;   /* allowed deviation of the dip angle, deg; 10 */
  float mag_norm_tolerance;  /* allowed deviation of the magnitude, mag units; 5 */
  float mag_dip_reference;   /* expected dip angle, deg; 75.4 */
  float mag_norm_reference;  /* expected magnitude, mag units; 23 */
  float mag_disturbed_count; /* samples rejected; a float, and so stops at 2^24 (46 hours at 100 Hz); 0 */
  float mag_total_count;     /* samples seen by the filter, likewise; 0 */
} tracker_state;

/* ---- Creation and settings ---- */

/* Bytes of a tracker_state. */
uint64_t get_tracker_size(void);

/* Sets every field to the value named with it. `rate` in samples per second (0 gives infinite periods,
 * unchecked); `position_enabled` 0 or 1. */
void init_tracker(tracker_state* state, int32_t rate, int32_t position_enabled);

/* The same as init_tracker. */
void reset_tracker(tracker_state* state, int32_t rate, int32_t position_enabled);

/* The setters copy; they take effect with the next sample. */
void set_quaternion_process_noise_cov_matrix(tracker_state* state, const float Q[16]);
void set_imu_quaternion_observation_noise_cov_matrix(tracker_state* state, const float R_acc[9], const float R_mag[9]);
void set_position_observation_noise_cov_matrix(tracker_state* state, const float R_pos[36]);
/* In the order and units of the field. */
void set_motionless_thresh(tracker_state* state, const float thresholds[3]);

/* ---- Resets and statistics ---- */

/* q from accel_sum and mag_sum: tilt from gravity, heading from the mean field as measured in the body frame.
 * Closed form of R. G. Valenti, I. Dryanovski, J. Xiao, Sensors 15(8):19302, 2015, doi:10.3390/s150819302. With a
 * magnetometer the heading comes out with the opposite sign, the tilt wrong unless the unit is level, and non-numbers
 * if the field is vertical in the body frame: give none before run_tracker has answered TRACKER_FILTERED. */
void set_initial_quaternion(tracker_state* state);

/* The next sample is discarded and q becomes `quaternion` (w x y z, used as given). Null does nothing. */
void reset_orientation(tracker_state* state, const float* quaternion);

/* Applies reset_quaternion at once: q, and the upper-left 4 x 4 of P, which becomes 0.001 times the identity. A pending
 * reset stays pending, and a tracker that waits for its start goes on waiting; linear_accel keeps its value. */
void reset_orientation_local(tracker_state* state);

/* Widens P_pos and has the position filter take one measurement of its own previous state at its next run.
 * position_state itself is not changed: `position` (m) and `velocity` (m/s, null keeps the last) are only
 * kept. */
void reset_position(tracker_state* state, const float position[3], const float* velocity);

/* Percentage of magnetometer samples rejected as disturbed; not-a-number before the first. */
float get_percent_disturb_magnetometer_data(const tracker_state* state);

/* ---- Samples ---- */

/* Stores a sample: accelerometer in g, gyroscope in deg/s, magnetometer or null; body frame, xyz. Returns 1,
 * or 0 with nothing stored when all ten slots are taken. */
int32_t add_to_tracker_buffer(tracker_state* state, const float accelerometer[3], const float gyroscope[3],
                              const float* magnetometer);

/* Takes the oldest stored sample and returns one of the results above. `output` is w x y z, then x y z of the position
 * in m; the position is written only when the position filter ran. */
int32_t run_tracker(tracker_state* state, float output[7]);

/* A series of samples without magnetometer. Axis k of sample i stands at [k * stride + i]. */
typedef struct tracker_series { /* NOLINT(modernize-use-using): shared with C */
  const double* accelerometer;  /* x y z, g; narrowed to float */
  const double* gyroscope;      /* x y z, deg/s; narrowed to float */
  double* quaternion;           /* written: w x y z, body to earth; four zeros where run_tracker waits */
  size_t stride;                /* values from one axis to the next, in all three arrays */
} tracker_series;

/* Samples first to first + count - 1, each as through add_to_tracker_buffer and run_tracker, in about half the time and
 * to the same bits, in pieces of any length. Samples that wait in the buffer go first, without output. Leaves the
 * record as the single samples would, but for the buffer and filter_work: predict must come before a correction of its
 * own. */
void run_tracker_series(tracker_state* state, const tracker_series* series, size_t first, size_t count);

/* Collects still samples before the first quaternion; units as in add_to_tracker_buffer. True exactly when
 * the required number of consecutive still samples is reached. */
bool is_ready_to_initialize(tracker_state* state, const float accelerometer[3], const float gyroscope[3],
                            const float* magnetometer);

/* ---- Orientation filter; sources: see docs/orientation.md ---- */

/* One sample: stillness test, prediction, corrections, linear_accel. `gyroscope` comes in deg/s and is
 * changed to rad/s in place; accelerometer in g; magnetometer or null. */
void call_ekf_quaternion(tracker_state* state, float gyroscope[3], const float accelerometer[3],
                         const float* magnetometer);

/* The same without the stillness test (moving keeps its value) and with `gyroscope` in rad/s, unchanged. Without an
 * accelerometer triple linear_accel keeps its value, and P is that of the last correction: the prediction reaches it
 * only through run_accelerometer. Without any correction q loses its unit length from sample to sample. */
void imu_ekf_quaternion_tracker(tracker_state* state, const float gyroscope[3], const float* accelerometer,
                                const float* magnetometer);

/* q, no longer of unit length, and the predicted covariance from angular rates in rad/s, body frame. */
void predict(tracker_state* state, const float gyroscope[3]);

/* The two corrections go on from filter_work as the last predict, or the correction behind it, left it: each sample
 * needs its predict first. */

/* Corrects q by the direction of gravity. The triple (g) is used as measured, not normalised. */
void run_accelerometer(tracker_state* state, const float accelerometer[3]);

/* Corrects q by the direction of the magnetic field; rejects samples whose magnitude or dip is off. A zero
 * vector gives non-numbers. */
void run_magnetometer_update(tracker_state* state, const float magnetometer[3]);

/* ---- Position filter ---- */

/* One step with `acceleration` in g, earth frame, gravity removed. */
void run_position_Kalman_filter(tracker_state* state, const float acceleration[3]);

/* With position enabled: one step with linear_accel, then the position into output[4..6]. Otherwise nothing.
 */
void apply_localization(tracker_state* state, float output[7]);

/* ---- Quaternions ---- */

/* out = a b, normalised unless zero. May alias. */
void quaternion_product(const float a[4], const float b[4], float out[4]);

/* out = (w, -x, -y, -z) / |q|; a zero quaternion stays zero. May alias. */
void get_conjugate(const float q[4], float out[4]);

/* Divides the first four entries of v by the norm of its first n; does nothing when that is zero. */
void normalize_quaternion(float v[4], int32_t n);

/* v turned by q (q v q*); the length of v is kept whatever that of q is. May alias. */
void quaternion_rotate_vector(const float v[3], const float q[4], float out[3]);

/* 3 x 3 matrix that takes earth-frame vectors into the body frame. */
void quaternion_to_rotation_matrix(const float q[4], float M[9]);

/* 3 x 3 matrix Rz(yaw) Ry(pitch) Rx(roll); radians. */
void euler_to_rotation_matrix(float M[9], float roll, float pitch, float yaw);

/* out = M v, M 3 x 3. */
void rotate_vector(const float v[3], const float M[9], float out[3]);

/* ---- Matrices: C = A B. Packed means that the row stride is the number of columns. ---- */

void matrix_mult_3_3(const float* A, const float* B, float* C);     /* 3 x 3, all packed */
void matrix_mult_4_4(const float* A, const float* B, float* C);     /* 4 x 4; A packed, B and C with row stride 6 */
void matrix_mult_6_4_4_4(const float* A, const float* B, float* C); /* A, C 6 x 4 packed; B 4 x 4, row stride 6 */
void matrix_mult_6_6_6_6(const float* A, const float* B, float* C); /* 6 x 6, all packed */

/* Inverse by Gauss-Jordan elimination without row exchanges: a zero pivot gives non-numbers. 3 x 3 and 6 x 6,
 * packed. */
void inverseM(const float A[9], float A_inverse[9]);
void inverseM_magneto(const float A[36], float A_inverse[36]);

/* One elimination step on an n x 2n augmented matrix with rows of six (n <= 3), respectively twelve (n <= 6)
 * floats: divides the pivot row by its pivot and clears the pivot column of every other row. */
void reduction(float* augmented, int32_t n, int32_t pivot_row, int32_t pivot_column);
void reduction_magneto(float* augmented, int32_t n, int32_t pivot_row, int32_t pivot_column);

#ifdef __cplusplus
}
#endif

#endif

"""Calibrations as other programs write them, and what they say.

The numbers are those of published calibrations: the stereo pair of OpenCV's samples, the narrow
stereo camera of the ROS tutorials, a drone's stereo head calibrated by Kalibr, a fisheye of a
hand-held rig, and the colour camera of a depth sensor.
"""

FILE_STORAGE = '''%YAML:1.0
---
calibration_time: "Thu Nov 19 10:12:13 2026"
nframes: 13
image_width: {size[0]}
image_height: {size[1]}
board_width: 9
board_height: 6
square_size: 2.5000000372529030e-02
flags: 0
{more}camera_matrix: !!opencv-matrix
   rows: 3
   cols: 3
   dt: d
   data: [ {fx!r}, 0., {cx!r}, 0.,
       {fy!r}, {cy!r}, 0., 0., 1. ]
distortion_coefficients: !!opencv-matrix
   rows: {count}
   cols: 1
   dt: d
   data: [ {terms} ]
avg_reprojection_error: 3.9259109564815858e-01
'''

XML = '''<?xml version="1.0"?>
<opencv_storage>
<calibration_time>"Thu Nov 19 10:12:13 2026"</calibration_time>
<nr_of_frames>13</nr_of_frames>
<image_width>{size[0]}</image_width>
<image_height>{size[1]}</image_height>
{more}<camera_matrix type_id="opencv-matrix">
  <rows>3</rows>
  <cols>3</cols>
  <dt>d</dt>
  <data>
    {fx!r} 0. {cx!r} 0. {fy!r}
    {cy!r} 0. 0. 1.</data></camera_matrix>
<distortion_coefficients type_id="opencv-matrix">
  <rows>{count}</rows>
  <cols>1</cols>
  <dt>d</dt>
  <data>
    {xml_terms}</data></distortion_coefficients>
<avg_reprojection_error>3.9259109564815858e-01</avg_reprojection_error>
<image_points><_>1. 2.</_><_>3. 4.</_></image_points>
</opencv_storage>
'''

STEREO = '''%YAML:1.0
---
M1: !!opencv-matrix
   rows: 3
   cols: 3
   dt: d
   data: [ {fx!r}, 0., {cx!r}, 0., {fy!r}, {cy!r}, 0., 0., 1. ]
D1: !!opencv-matrix
   rows: 1
   cols: {count}
   dt: d
   data: [ {terms} ]
M2: !!opencv-matrix
   rows: 3
   cols: 3
   dt: d
   data: [ 5.3591573396163199e+02, 0., 3.2635162748789747e+02, 0.,
       5.3591573396163199e+02, 2.5009120384651797e+02, 0., 0., 1. ]
D2: !!opencv-matrix
   rows: 1
   cols: 5
   dt: d
   data: [ -2.8475576219083398e-01, 8.6043413573170100e-02, 0., 0., 0. ]
'''

ROS = '''image_width: {size[0]}
image_height: {size[1]}
camera_name: narrow_stereo
camera_matrix:
  rows: 3
  cols: 3
  data: [{fx!r}, 0.000000, {cx!r}, 0.000000, {fy!r}, {cy!r}, 0.000000, 0.000000, 1.000000]
distortion_model: {named}
distortion_coefficients:
  rows: 1
  cols: {count}
  data: [{terms}]
rectification_matrix:
  rows: 3
  cols: 3
  data: [1, 0, 0, 0, 1, 0, 0, 0, 1]
'''

ROS_MESSAGE = '''header:
  frame_id: camera
height: {size[1]}
width: {size[0]}
distortion_model: {named}
D: [{terms}]
K: [{fx!r}, 0.0, {cx!r}, 0.0, {fy!r}, {cy!r}, 0.0, 0.0, 1.0]
R: [1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0]
---
'''

KALIBR = '''cam0:
  cam_overlaps: [1]
  camera_model: pinhole
  distortion_coeffs: [{terms}]
  distortion_model: {named}
  intrinsics: [{fx!r}, {fy!r}, {cx!r}, {cy!r}]
  resolution: [{size[0]}, {size[1]}]
  rostopic: /cam0/image_raw
cam1:
  T_cn_cnm1:
  - [1.0, 0.0, 0.0, -0.11]
  - [0.0, 1.0, 0.0, 0.0]
  - [0.0, 0.0, 1.0, 0.0]
  - [0.0, 0.0, 0.0, 1.0]
  camera_model: pinhole
  distortion_coeffs: [-0.28368365, 0.07451284, -0.00010473, -3.5559e-05]
  distortion_model: radtan
  intrinsics: [457.587, 456.134, 379.999, 255.238]
  resolution: [752, 480]
'''


def calibration(template, size, intrinsics, terms, model='pinhole', named='', more='', **other):
    fx, fy, cx, cy = intrinsics
    text = template.format(size=size, fx=fx, fy=fy, cx=cx, cy=cy, count=len(terms), named=named, more=more,
                           terms=', '.join(map(repr, terms)), xml_terms=' '.join(map(repr, terms)))
    return {'text': text, 'size': size, 'intrinsics': intrinsics, 'terms': terms, 'model': model, **other}


OPENCV_SAMPLE = ((640, 480), (535.915733961632, 535.915733961632, 342.28315473308373, 235.57082909788173),
                 [-0.26637260909660682, -0.038588898922304653, 0.0017831947042852964, -0.00028122100441115472,
                  0.23839153080878486])
DEPTH_SENSOR = ((1280, 720), (605.6, 605.4, 639.1, 365.9),
                [0.5247, -2.6811, 0.00051, -0.00026, 1.5459, 0.4042, -2.5003, 1.472])
RIG = ((512, 512), (190.97847715128717, 190.9733070521226, 254.93170605935475, 256.8974428996504),
       [0.0034823894022493434, 0.0007150348452162257, -0.0020532361418706202, 0.00020293673591811182])

OLD = calibration(FILE_STORAGE, (640, 480), (438.783367, 437.302876, 305.593336, 243.738352),
                  [-0.361976, 0.11051, 0.001014, 0.000505])

CALIBRATIONS = {
    'opencv.yml': calibration(FILE_STORAGE, *OPENCV_SAMPLE),
    'opencv.xml': calibration(XML, *OPENCV_SAMPLE),
    'opencv-old.yml': {**OLD, 'options': ['--lens', 'plumb_bob'], 'text': OLD['text'].replace('image_w', 'image_W').replace('image_h', 'image_H')
                                                 .replace('camera_m', 'Camera_M').replace('distortion_c', 'Distortion_C')},
    'opencv-rational.yml': calibration(FILE_STORAGE, *DEPTH_SENSOR, more='fisheye_model: 0\n'),
    'opencv-prism.yml': calibration(FILE_STORAGE, *OPENCV_SAMPLE[:2],
                                    [*OPENCV_SAMPLE[2], 0.01, -0.02, 0.03, 0.002, -0.001, 0.0015, 0.0005]),
    'opencv-tilt.yml': calibration(FILE_STORAGE, *OPENCV_SAMPLE[:2],
                                   [*OPENCV_SAMPLE[2], 0.01, -0.02, 0.03, 0.002, -0.001, 0.0015, 0.0005, 0.02, -0.03]),
    'opencv-fisheye.yml': calibration(
        FILE_STORAGE, (1280, 800), (558.478087865323, 560.506767351568, 620.458515360843, 381.939424848348),
        [-0.0014613319981768, -0.00329861110580401, 0.00605760088590183, -0.00374209380722371],
        'fisheye', more='fisheye_model: 1\n', options=['--max-angle', '60']),
    'stereo.yml': calibration(STEREO, *OPENCV_SAMPLE, camera='#1', options=['--width', '640', '--height', '480']),
    'ros.yaml': calibration(ROS, (640, 480), (438.783367, 437.302876, 305.593336, 243.738352),
                            [-0.361976, 0.11051, 0.001014, 0.000505, 0.0], named='plumb_bob'),
    'ros-rational.yaml': calibration(ROS_MESSAGE, *DEPTH_SENSOR, named='rational_polynomial'),
    'ros-fisheye.yaml': calibration(ROS, *RIG, 'fisheye', 'equidistant', options=['--max-angle', '63']),
    'camchain.yaml': calibration(KALIBR, (752, 480), (458.654, 457.296, 367.215, 248.375),
                                 [-0.28340811, 0.07395907, 0.00019359, 1.76187114e-05], named='radtan', camera='#cam0'),
    'camchain-fisheye.yaml': calibration(KALIBR, *RIG, 'fisheye', 'equidistant', camera='#cam0',
                                         options=['--max-angle', '63']),
}

import ctypes

qzk = ctypes.CDLL("libqzk.so.3")
qzk.QZsDotP.restype = ctypes.c_double
vector = (ctypes.c_float * 3)(1, 2, 3)
print(qzk.QZsDotP(vector, vector, 3))  # 14.0

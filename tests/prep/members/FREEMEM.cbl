*> a free-format member
05 FREE-A pic x(3).
05 FREE-B binary-short.

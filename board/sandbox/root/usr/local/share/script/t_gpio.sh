#!/bin/sh
# t_gpio.sh LINE LEVEL: on the aircraft this drives a GPIO line. Here it is logged, one line per call.
echo "$*" >> /tmp/gpio.log

int own_queue_length() { return 7; }
